#include "tools/muxctl/GatewayHealth.h"

#include <optional>

#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

using MuxClient::Message;
using State = GatewayHealth::State;

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

}  // namespace

void AskSilentGateways(MuxClient::Client& client, std::vector<GatewayHealth>& gateways,
                       std::chrono::milliseconds timeout, const std::function<void()>& whileWaiting) {
    const auto start = std::chrono::steady_clock::now();
    std::size_t waiting = 0;
    for (GatewayHealth& gateway : gateways) {
        if (gateway.state != State::kSilent) {
            continue;
        }
        const auto take = [&waiting, &gateway, start](const std::optional<Message>& answer) {
            --waiting;
            if (answer) {
                gateway.elapsed = TimeSince(start);
                Judge(*answer, gateway);
            }
        };
        client.Send(MuxClient::Request::Status({gateway.id, kNoLock}), take, timeout);
        ++gateway.requests;
        ++waiting;
    }
    while (waiting > 0) {
        whileWaiting();
        client.Wait(WaitIndicator::kPeriod);
    }
}

}  // namespace Muxctl
