#include "tools/gateway-simulator/ConsoleCommand.h"

namespace Simulator {
namespace {

Action ParseCard(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const Bytes card = arguments.Hex("HEX", EventSource::kLongestData);
    const std::uint8_t code = arguments.IsEmpty() ? kCardEvent : arguments.Byte("TYPE");
    if (!IsCardEvent(code)) {
        throw CommandError("TYPE must be 14, 15, 17 or 18");
    }
    return Silent([=](GatewaySimulator& gateway) {
        RequireLock(gateway.FindLock(address).has_value(), address);
        RequireConnection(gateway.RaiseCard(address, card, code));
    });
}

Action ParsePin(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const std::string digits = arguments.Digits("DIGITS", EventSource::kLongestData);
    return Silent([=](GatewaySimulator& gateway) {
        RequireLock(gateway.FindLock(address).has_value(), address);
        RequireConnection(gateway.RaisePin(address, digits));
    });
}

Action ParseEventBytes(Arguments& arguments) {
    const EventSource::Details details = arguments.SevenBytes("HEX");
    return Silent([=](GatewaySimulator& gateway) { gateway.SetEventDetails(details); });
}

Action ParseDemandEvent(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const bool isOn = arguments.OnOrOff("on|off");
    return Silent([=](GatewaySimulator& gateway) {
        RequireLock(gateway.ChangeLock(address, [=](Lock& lock) { lock.DemandEvent(isOn); }), address);
    });
}

}  // namespace

std::vector<ConsoleCommand> EventCommands() {
    return {
        {"card", "ADDRESS HEX [TYPE]", "Present a card; TYPE: 14 (default), 15, 17, 18", ParseCard},
        {"pin", "ADDRESS DIGITS", "Enter a PIN, sent as ASCII digits", ParsePin},
        {"event-bytes", "HEX", "Set the 7 header and event bytes of events", ParseEventBytes},
        {"demand-event", "ADDRESS on|off", "Answer an event response without event with 10", ParseDemandEvent},
    };
}

}  // namespace Simulator
