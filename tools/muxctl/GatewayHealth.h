#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/client/Client.h"

namespace Muxctl {

// The address behind which no lock stands: a working gateway answers a status request to it with "no route".
constexpr std::int32_t kNoLock = 256;

// What one gateway made of a status request to kNoLock.
struct GatewayHealth {
    enum class State {
        kSilent,
        // The Mux has no such gateway, or is not connected to it; or the proxy refuses to ask.
        kRefused,
        // It answers, but otherwise than it should.
        kUnexpected,
        kWell,
    };

    std::int32_t id = 0;
    // May be empty.
    std::string name;
    State state = State::kSilent;
    // For people: "answers", "no answer", ...
    std::string text = "no answer";
    // Between the last request and its answer.
    std::chrono::milliseconds elapsed{0};
    int requests = 0;
};

// Sends every gateway of the list that is silent one request, with 100 ms between two, or less so that the last is sent
// within 2 s, and waits for the answers, each for the time-out. Calls `whileWaiting` often. The IDs must differ: of two
// requests at once a gateway answers only one. Throws as MuxClient::Client does.
void AskSilentGateways(MuxClient::Client& client, std::vector<GatewayHealth>& gateways,
                       std::chrono::milliseconds timeout, const std::function<void()>& whileWaiting);

}  // namespace Muxctl
