#include "benchmarks/load/EventMeasurement.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/load/GatewayPark.h"
#include "benchmarks/load/ReceivedMessage.h"
#include "benchmarks/load/Requests.h"
#include "benchmarks/load/StreamClient.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// The server looks for bytes 300 ms after it took the last ones. Those that came meanwhile, as the answer to a
// keep-alive, it takes then, and looks again 300 ms later. The rest is for late wake-ups.
constexpr std::chrono::milliseconds kShortestSilence{650};
constexpr std::chrono::milliseconds kLate{2};
constexpr std::chrono::microseconds kLongestPause{5'000};

// All clients, and when the event that is under way came to each.
class Listeners {
  public:
    Listeners(asio::io_context& loop, const Target& target, std::size_t count) : loop_(loop) {
        for (std::size_t index = 0; index < count; ++index) {
            clients_.push_back(std::make_unique<StreamClient>(
                loop, target,
                [this](const std::string& text, Clock::time_point arrival) { OnMessage(text, arrival); }));
        }
    }

    // An answer shows that the server knows the client, and so sends it events.
    void Introduce() {
        for (const auto& client : clients_) {
            client->Send(RefusedRequest("event-listener"));
        }
        RunUntil(
            loop_, [this] { return answers_ == clients_.size(); }, "every client's first answer");
    }

    void Expect(std::uint32_t number) {
        Simulator::Bytes card;
        for (int shift = 24; shift >= 0; shift -= 8) {
            card.push_back(static_cast<std::uint8_t>(number >> static_cast<unsigned>(shift)));
        }
        expected_ = Simulator::ToHex(card);
        arrivals_.clear();
    }

    const std::vector<Clock::time_point>& AwaitAll() {
        RunUntil(
            loop_, [this] { return arrivals_.size() == clients_.size(); }, "an event at every client");
        return arrivals_;
    }

  private:
    void OnMessage(const std::string& text, Clock::time_point arrival) {
        const ReceivedMessage message = ParseReceived(text);
        if (message.code == kNack) {
            ++answers_;
        } else if (message.code == kCardEvent && message.card == expected_) {
            arrivals_.push_back(arrival);
        } else {
            throw std::runtime_error("not the event that was raised: " + text);
        }
    }

    asio::io_context& loop_;
    std::vector<std::unique_ptr<StreamClient>> clients_;
    std::size_t answers_ = 0;
    std::string expected_;
    std::vector<Clock::time_point> arrivals_;
};

// Raises one event after the other and takes the times.
class EventRun {
  public:
    EventRun(const Target& target, const EventMeasurement::Options& options)
        : park_(loop_, options.gateways),
          silences_(kShortestSilence.count(), std::max(options.longestSilence, kShortestSilence).count()) {
        std::generate_n(std::back_inserter(silenceOf_), park_.Count(), [this] { return AnySilence(); });
        park_.Announce(std::cout);
        park_.AwaitUse();
        listeners_ = std::make_unique<Listeners>(loop_, target, options.clients);
        listeners_->Introduce();
    }

    void RaiseOne() {
        AnsweringGateway& gateway = NextGateway();
        listeners_->Expect(number_);
        const Clock::time_point raised = gateway.RaiseCard(number_++);
        const std::vector<Clock::time_point>& arrivals = listeners_->AwaitAll();
        for (const Clock::time_point arrival : arrivals) {
            each_.Add(arrival - raised);
        }
        last_.Add(arrivals.back() - raised);
    }

    void ForgetSamples() { each_ = last_ = Samples(); }
    const Samples& Each() const { return each_; }
    const Samples& Last() const { return last_; }

  private:
    // A keep-alive may be answered during the pause, and then it is the next gateway's turn.
    AnsweringGateway& NextGateway() {
        RunFor(loop_, std::chrono::microseconds(pauses_(generator_)));
        while (!FindQuietGateway()) {
            RunFor(loop_, std::chrono::microseconds(pauses_(generator_)));
        }
        silenceOf_.at(turn_) = AnySilence();
        return park_.At(turn_);
    }

    // Makes it its turn.
    bool FindQuietGateway() {
        for (std::size_t count = 0; count < park_.Count(); ++count) {
            turn_ = (turn_ + 1) % park_.Count();
            if (Clock::now() - park_.At(turn_).LastSent() > silenceOf_.at(turn_)) {
                return true;
            }
        }
        return false;
    }

    std::chrono::milliseconds AnySilence() { return std::chrono::milliseconds(silences_(generator_)); }

    asio::io_context loop_;
    GatewayPark park_;
    std::unique_ptr<Listeners> listeners_;
    std::mt19937 generator_{std::random_device{}()};
    std::uniform_int_distribution<std::int64_t> pauses_{0, kLongestPause.count()};
    std::uniform_int_distribution<std::chrono::milliseconds::rep> silences_;
    // Of each gateway before its next event.
    std::vector<std::chrono::milliseconds> silenceOf_;
    std::size_t turn_ = 0;
    std::uint32_t number_ = 1;
    Samples each_;
    Samples last_;
};

}  // namespace

void EventMeasurement::Run(Report& report) const {
    EventRun run(target_, options_);
    for (std::size_t count = 0; count < options_.warmUp; ++count) {
        run.RaiseOne();
    }
    run.ForgetSamples();
    const Clock::time_point end = Clock::now() + options_.duration;
    while (Clock::now() < end) {
        run.RaiseOne();
    }
    const bool isAnyMoment = options_.longestSilence > kShortestSilence;
    const std::string name =
        std::string("event") + (isAnyMoment ? " at any moment" : "") + ", clients " + std::to_string(options_.clients);
    report.AddLatencies(name, run.Each());
    report.Add(name + " above 2 ms", static_cast<double>(run.Each().CountAbove(kLate)), "");
    if (options_.clients > 1) {
        report.AddLatencies(name + ", last client", run.Last());
    }
}

}  // namespace Load
