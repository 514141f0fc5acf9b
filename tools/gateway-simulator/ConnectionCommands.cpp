#include "tools/gateway-simulator/ConsoleCommand.h"

namespace Simulator {
namespace {

constexpr std::size_t kLongestRaw = 65536;

Action ParseClose(Arguments& /*arguments*/) {
    return Silent([](GatewaySimulator& gateway) { gateway.CloseConnection(); });
}

Action ParseReset(Arguments& /*arguments*/) {
    return Silent([](GatewaySimulator& gateway) { gateway.ResetConnection(); });
}

Action ParseRefuse(Arguments& arguments) {
    const std::chrono::milliseconds duration(arguments.Number("MILLISECONDS", kLongestDuration));
    return Silent([=](GatewaySimulator& gateway) { gateway.RefuseConnections(duration); });
}

Action ParseRaw(Arguments& arguments) {
    const Bytes bytes = arguments.Hex("HEX", kLongestRaw);
    return Silent([=](GatewaySimulator& gateway) { RequireConnection(gateway.SendRaw(bytes)); });
}

Action ParseCounter(Arguments& arguments) {
    const std::uint32_t counter = arguments.Number("NUMBER");
    return Silent([=](GatewaySimulator& gateway) { gateway.SetCounter(counter); });
}

}  // namespace

std::vector<ConsoleCommand> ConnectionCommands() {
    return {
        {"close", "", "Close the connection", ParseClose},
        {"reset", "", "Reset the connection", ParseReset},
        {"refuse", "MILLISECONDS", "Refuse new connections for this time", ParseRefuse},
        {"raw", "HEX", "Send these bytes unchanged", ParseRaw},
        {"counter", "NUMBER", "Set the counter; the next number is accepted", ParseCounter},
    };
}

}  // namespace Simulator
