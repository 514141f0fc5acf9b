#include "benchmarks/load/LatencyMeasurement.h"

#include <asio.hpp>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/ReceivedMessage.h"
#include "benchmarks/load/Requests.h"
#include "benchmarks/load/StreamClient.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// One client that asks and waits.
class Asking {
  public:
    explicit Asking(const Target& target)
        : client_(loop_, target, [this](const std::string& text, Clock::time_point arrival) {
              text_ = text;
              arrival_ = arrival;
              ++answers_;
          }) {}

    std::chrono::nanoseconds Ask() {
        const std::string id = "latency-" + std::to_string(asked_++);
        const std::string request = RefusedRequest(id);
        const Clock::time_point sent = Clock::now();
        client_.Send(request);
        RunUntil(
            loop_, [this] { return answers_ == asked_; }, "an answer");
        const ReceivedMessage answer = ParseReceived(text_);
        if (answer.code != kNack || answer.id != id) {
            throw std::runtime_error("not the refusal of " + id + ": " + text_);
        }
        return arrival_ - sent;
    }

    // Waits as precisely as the kernel's timers do.
    void Pause(std::chrono::nanoseconds pause) {
        asio::steady_timer timer(loop_, pause);
        bool over = false;
        timer.async_wait([&over](const asio::error_code& /*unused*/) { over = true; });
        RunUntil(
            loop_, [&over] { return over; }, "a pause");
    }

  private:
    asio::io_context loop_;
    StreamClient client_;
    std::string text_;
    Clock::time_point arrival_;
    std::size_t asked_ = 0;
    std::size_t answers_ = 0;
};

}  // namespace

Samples LatencyMeasurement::Run() const {
    Asking asking(target_);
    for (std::size_t count = 0; count < options_.warmUp; ++count) {
        asking.Ask();
    }
    std::mt19937_64 generator(std::random_device{}());
    std::uniform_int_distribution<std::int64_t> pauses(0, options_.longestPause.count());
    Samples samples;
    const Clock::time_point end = Clock::now() + options_.duration;
    while (Clock::now() < end && options_.goesOn()) {
        if (options_.longestPause.count() > 0) {
            asking.Pause(std::chrono::nanoseconds(pauses(generator)));
        }
        samples.Add(asking.Ask());
    }
    return samples;
}

}  // namespace Load
