#pragma once

#include <cstdint>
#include <string>

#include "tools/gateway-simulator/GatewaySimulator.h"
#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// A gateway that commands can be sent to. What it refers to must remain live as long as it.
struct Target {
    std::int32_t id = 1;
    // For people only; may be empty.
    std::string name;
    // Address or host name it listens on.
    std::string host;
    GatewaySimulator& gateway;
    // Output of its commands.
    LineOutput& output;
};

// "1: 127.0.0.1:2101, connected, 3 locks, Hall".
std::string DescribeTarget(const Target& target);

// "127.0.0.1:2101", or "[::1]:2101".
std::string AddressText(const std::string& host, std::uint16_t port);

}  // namespace Simulator
