#include "tools/muxctl/GatewayHealth.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

using MuxClient::Message;
using State = GatewayHealth::State;

// Enough for the Mux to pass a request on and log it before the next, and little beside a time-out.
constexpr std::chrono::milliseconds kGap{100};
constexpr std::chrono::milliseconds kLongestSending{2000};
constexpr std::int32_t kRefusedByMux = 0;
constexpr std::int32_t kNoRoute = 8;

// Of a proxy, which answers for a gateway.
void JudgeProxy(const MuxClient::Refusal& refusal, GatewayHealth& gateway) {
    using MuxClient::ProxyError;
    if (refusal.Is(ProxyError::kNoAnswer) || refusal.Is(ProxyError::kNotSent)) {
        // Silent, as without a proxy.
        return;
    }
    gateway.state = State::kRefused;
    gateway.text = "the proxy answers: " + refusal.message;
}

void Judge(const Message& answer, GatewayHealth& gateway) {
    if (answer.refusal && answer.refusal->errorCode < kRefusedByMux) {
        JudgeProxy(*answer.refusal, gateway);
    } else if (!answer.refusal) {
        gateway.state = State::kUnexpected;
        gateway.text = "answers as if a lock had address " + std::to_string(kNoLock);
    } else if (answer.refusal->errorCode == kNoRoute) {
        gateway.state = State::kWell;
        gateway.text = "answers";
    } else if (answer.refusal->errorCode == kRefusedByMux) {
        gateway.state = State::kRefused;
        gateway.text = "not configured, left out at start, or disconnected";
    } else {
        gateway.state = State::kUnexpected;
        gateway.text =
            "answers with error " + std::to_string(answer.refusal->errorCode) + ": " + answer.refusal->message;
    }
}

std::vector<GatewayHealth*> SilentOnes(std::vector<GatewayHealth>& gateways) {
    std::vector<GatewayHealth*> silent;
    for (GatewayHealth& gateway : gateways) {
        if (gateway.state == State::kSilent) {
            silent.push_back(&gateway);
        }
    }
    return silent;
}

// Asks gateways one after the other, without waiting for the answers of those before.
class GatewayRound {
  public:
    GatewayRound(MuxClient::Client& client, std::chrono::milliseconds timeout) : client_(client), timeout_(timeout) {}

    void Ask(const std::vector<GatewayHealth*>& gateways, const std::function<void()>& whileWaiting) {
        const std::chrono::milliseconds gap = GapBetween(gateways.size());
        auto due = Clock::now();
        std::size_t next = 0;
        while (next < gateways.size() || waiting_ > 0) {
            if (next < gateways.size() && Clock::now() >= due) {
                Send(*gateways.at(next++));
                due += gap;
            }
            whileWaiting();
            client_.Wait(next < gateways.size() ? std::min(gap, WaitIndicator::kPeriod) : WaitIndicator::kPeriod);
        }
    }

  private:
    using Clock = std::chrono::steady_clock;

    static std::chrono::milliseconds GapBetween(std::size_t gateways) {
        return std::min(kGap, kLongestSending / static_cast<std::int64_t>(std::max<std::size_t>(gateways, 1)));
    }

    void Send(GatewayHealth& gateway) {
        const auto take = [this, &gateway, start = Clock::now()](const std::optional<Message>& answer) {
            --waiting_;
            if (answer) {
                gateway.elapsed = TimeSince(start);
                Judge(*answer, gateway);
            }
        };
        client_.Send(MuxClient::Request::Status({gateway.id, kNoLock}), take, timeout_);
        ++gateway.requests;
        ++waiting_;
    }

    MuxClient::Client& client_;
    std::chrono::milliseconds timeout_;
    std::size_t waiting_ = 0;
};

}  // namespace

void AskSilentGateways(MuxClient::Client& client, std::vector<GatewayHealth>& gateways,
                       std::chrono::milliseconds timeout, const std::function<void()>& whileWaiting) {
    GatewayRound(client, timeout).Ask(SilentOnes(gateways), whileWaiting);
}

}  // namespace Muxctl
