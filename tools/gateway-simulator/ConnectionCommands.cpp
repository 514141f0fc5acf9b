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
        {"close", "", "close the connection", ParseClose},
        {"reset", "", "reset the connection", ParseReset},
        {"refuse", "MILLISECONDS", "refuse new connections for a while", ParseRefuse},
        {"raw", "HEX", "send these bytes as they are", ParseRaw},
        {"counter", "NUMBER", "set the sequence counter; the next number is accepted", ParseCounter},
    };
}

}  // namespace Simulator
