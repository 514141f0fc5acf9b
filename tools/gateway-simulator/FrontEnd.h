#pragma once

#include <asio.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/gateway-simulator/LineOutput.h"
#include "tools/gateway-simulator/PlayedGateway.h"

namespace Simulator {

using PlayedGateways = std::vector<std::unique_ptr<PlayedGateway>>;

// The program's face toward the person who runs it: shows what happens and takes what is typed.
//
// Its methods are for the program's thread, the outputs for any.
class FrontEnd {
  public:
    // What the front end asks of the program, on the thread of its loop.
    struct Handlers {
        // A line was typed.
        std::function<void(const std::string& line)> line;
        // The person is gone.
        std::function<void()> gone;
        // The ID of the gateway that typed commands are for.
        std::function<std::int32_t()> chosen;
    };

    virtual ~FrontEnd() = default;

    // Outputs: lines about a gateway, lines of its keep-alive frames, output of its commands, and everything else.
    virtual LineOutput& GatewayOutput(std::size_t index) = 0;
    virtual LineOutput& KeepAliveOutput(std::size_t index) = 0;
    virtual LineOutput& CommandOutput(std::size_t index) = 0;
    virtual LineOutput& Messages() = 0;

    // Whether lines of keep-alive frames are shown, as they are at first.
    virtual void ShowKeepAlives(bool shown) = 0;
    // Whether a typed command without output is confirmed.
    virtual bool ConfirmsCommands() const = 0;

    // Says that the gateways listen, and begins to take what is typed. Loop and gateways must remain live as long as
    // the front end. Throws std::runtime_error when it cannot.
    virtual void Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) = 0;
};

}  // namespace Simulator
