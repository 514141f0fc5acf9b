#include "benchmarks/load/GatewayRequestMeasurement.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/load/GatewayPark.h"
#include "benchmarks/load/ReceivedMessage.h"
#include "benchmarks/load/Requests.h"
#include "benchmarks/load/StreamClient.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// The answer to a request that met a keep-alive on its way may be lost. The next request follows after this time.
constexpr std::chrono::seconds kLost{3};
constexpr std::chrono::milliseconds kLookForLost{100};
// Requests that wait for a gateway at any time while its pace is measured.
constexpr std::size_t kQueued = 4;

// One client and its gateway.
class Pair {
  public:
    Pair(asio::io_context& loop, const Target& target, AnsweringGateway& gateway, int gatewayId, std::size_t warmUp)
        : client_(loop, target,
                  [this](const std::string& text, Clock::time_point arrival) { OnMessage(text, arrival); }),
          gatewayId_(gatewayId),
          warmUp_(warmUp) {
        gateway.OnFrame([this](Clock::time_point arrival) { OnFrame(arrival); });
    }

    void Ask() {
        id_ = "gateway-" + std::to_string(gatewayId_) + "-" + std::to_string(sent_++);
        asked_ = Clock::now();
        client_.Send(OpenRequest(id_, gatewayId_));
    }

    // Asks again when the answer must be lost. Returns whether it was.
    bool AskAfterLoss(Clock::time_point now) {
        const bool lost = now - asked_ > kLost;
        if (lost) {
            Ask();
        }
        return lost;
    }

    void StopAsking() { asking_ = false; }

    // From now on requests wait for the gateway.
    void StartQueueing() {
        queueing_ = true;
        for (std::size_t count = 0; count < kQueued; ++count) {
            Ask();
        }
    }

    const std::vector<std::chrono::nanoseconds>& Latencies() const { return latencies_; }

    // Frames a second between the first frame and the last of those that were queued; 0 for fewer than two.
    double Pace() const {
        const double elapsed = std::chrono::duration<double>(lastFrame_ - firstFrame_).count();
        return frames_ < 2 ? 0 : static_cast<double>(frames_ - 1) / elapsed;
    }

  private:
    void OnMessage(const std::string& text, Clock::time_point arrival) {
        const ReceivedMessage message = ParseReceived(text);
        if (!asking_ || message.code != kAck || message.id != id_) {
            return;
        }
        if (answers_++ >= warmUp_) {
            latencies_.push_back(arrival - asked_);
        }
        Ask();
    }

    void OnFrame(Clock::time_point arrival) {
        if (!queueing_) {
            return;
        }
        firstFrame_ = frames_ == 0 ? arrival : firstFrame_;
        lastFrame_ = arrival;
        ++frames_;
        Ask();
    }

    StreamClient client_;
    const int gatewayId_;
    const std::size_t warmUp_;
    bool asking_ = true;
    bool queueing_ = false;
    std::string id_;
    Clock::time_point asked_;
    std::size_t sent_ = 0;
    std::size_t answers_ = 0;
    std::vector<std::chrono::nanoseconds> latencies_;
    Clock::time_point firstFrame_;
    Clock::time_point lastFrame_;
    std::size_t frames_ = 0;
};

using Pairs = std::vector<std::unique_ptr<Pair>>;

bool AnythingMeasured(const Pairs& pairs) {
    return std::any_of(pairs.begin(), pairs.end(), [](const auto& pair) { return !pair->Latencies().empty(); });
}

// Goes on for longer when there is nothing to show for the time. Returns how many answers were lost.
std::size_t RunAsking(asio::io_context& loop, const Pairs& pairs, std::chrono::nanoseconds duration) {
    for (const auto& pair : pairs) {
        pair->Ask();
    }
    std::size_t lost = 0;
    const Clock::time_point end = Clock::now() + duration;
    while (Clock::now() < end || (!AnythingMeasured(pairs) && Clock::now() < end + kPatience)) {
        RunFor(loop, kLookForLost);
        const Clock::time_point now = Clock::now();
        for (const auto& pair : pairs) {
            lost += pair->AskAfterLoss(now) ? 1U : 0U;
        }
    }
    for (const auto& pair : pairs) {
        pair->StopAsking();
    }
    return lost;
}

void RunQueueing(asio::io_context& loop, const Pairs& pairs, std::chrono::nanoseconds duration) {
    for (const auto& pair : pairs) {
        pair->StartQueueing();
    }
    RunFor(loop, duration);
}

void AddFigures(Report& report, const std::string& name, const Pairs& pairs) {
    Samples latencies;
    std::vector<double> paces;
    for (const auto& pair : pairs) {
        for (const std::chrono::nanoseconds latency : pair->Latencies()) {
            latencies.Add(latency);
        }
        paces.push_back(pair->Pace());
    }
    std::sort(paces.begin(), paces.end());
    report.AddLatencies(name, latencies);
    report.Add(name + ", frames of the slowest gateway", paces.front(), "1/s");
    report.Add(name + ", frames of the median gateway", paces.at(paces.size() / 2), "1/s");
}

}  // namespace

void GatewayRequestMeasurement::Run(Report& report) const {
    asio::io_context loop;
    GatewayPark park(loop, options_.gateways);
    park.Announce(std::cout);
    park.AwaitUse();
    Pairs pairs;
    for (std::size_t index = 0; index < park.Count(); ++index) {
        const int gatewayId = static_cast<int>(index) + 1;
        pairs.push_back(std::make_unique<Pair>(loop, target_, park.At(index), gatewayId, options_.warmUp));
    }
    const std::size_t lost = RunAsking(loop, pairs, options_.duration);
    RunQueueing(loop, pairs, options_.duration);

    const std::string name = "through a gateway, gateways " + std::to_string(options_.gateways);
    AddFigures(report, name, pairs);
    report.Add(name + ", lost answers", static_cast<double>(lost), "");
}

}  // namespace Load
