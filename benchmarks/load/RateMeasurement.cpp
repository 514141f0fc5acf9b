#include "benchmarks/load/RateMeasurement.h"

#include <asio.hpp>
#include <stdexcept>
#include <string>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/PinnedProcess.h"
#include "benchmarks/load/ProcessFigures.h"
#include "benchmarks/load/ReceivedMessage.h"
#include "benchmarks/load/Requests.h"
#include "benchmarks/load/StreamClient.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// One client that sends by the clock.
class Pacing {
  public:
    explicit Pacing(const Target& target)
        : client_(loop_, target, [this](const std::string& text, Clock::time_point) { OnAnswer(text); }) {}

    // Sends `rate` requests a second for so long, evenly; none for 0. Requests that became due together, because this
    // process was held up, are sent together.
    void Run(std::size_t rate, std::chrono::nanoseconds duration) {
        const Clock::time_point start = Clock::now();
        if (rate > 0) {
            const std::chrono::nanoseconds interval = std::chrono::nanoseconds(std::chrono::seconds(1)) / rate;
            for (Clock::time_point due = start; due < start + duration; due += interval) {
                RunFor(loop_, due - Clock::now());
                client_.Send(RefusedRequest("rate-" + std::to_string(sent_++)));
            }
        }
        RunFor(loop_, start + duration - Clock::now());
    }

    // So that no answer falls into the next rate.
    void AwaitAnswers() {
        RunUntil(
            loop_, [this] { return answers_ == sent_; }, "the answers of a rate");
    }

    std::size_t Answers() const { return answers_; }

  private:
    void OnAnswer(const std::string& text) {
        if (ParseReceived(text).code != kNack) {
            throw std::runtime_error("not a refusal: " + text);
        }
        ++answers_;
    }

    asio::io_context loop_;
    StreamClient client_;
    std::size_t sent_ = 0;
    std::size_t answers_ = 0;
};

struct AtRate {
    double answersPerSecond = 0;
    double cpuMillisecondsPerSecond = 0;
};

AtRate MeasureRate(Pacing& pacing, std::size_t rate, const RateMeasurement::Options& options) {
    pacing.Run(rate, options.warmUp);
    const std::size_t answers = pacing.Answers();
    const std::chrono::nanoseconds cpu = CpuTimeOf(options.process);
    const Clock::time_point start = Clock::now();
    pacing.Run(rate, options.duration);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    const std::chrono::duration<double, std::milli> used = CpuTimeOf(options.process) - cpu;
    const auto answered = static_cast<double>(pacing.Answers() - answers);
    pacing.AwaitAnswers();
    return {answered / elapsed.count(), used.count() / elapsed.count()};
}

}  // namespace

void RateMeasurement::Run(Report& report) const {
    Pacing pacing(target_);
    pacing.Run(1, options_.warmUp);
    pacing.AwaitAnswers();
    const PinnedProcess pinned(options_.process);
    const double idle = MeasureRate(pacing, 0, options_).cpuMillisecondsPerSecond;
    report.Add("rate 0, CPU", idle, "ms/s");
    for (const std::size_t rate : options_.rates) {
        const AtRate cost = MeasureRate(pacing, rate, options_);
        const std::string name = "rate " + std::to_string(rate);
        report.Add(name + ", answers", cost.answersPerSecond, "1/s");
        report.Add(name + ", CPU", cost.cpuMillisecondsPerSecond, "ms/s");
        report.Add(name + ", CPU above idle", cost.cpuMillisecondsPerSecond - idle, "ms/s");
    }
}

}  // namespace Load
