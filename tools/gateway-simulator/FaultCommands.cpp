#include "tools/gateway-simulator/ConsoleCommand.h"
#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/FaultNames.h"
#include "tools/gateway-simulator/UnknownWord.h"

namespace Simulator {
namespace {

constexpr std::size_t kLongestJunk = 65536;

const FaultName& ParseName(Arguments& arguments) {
    const std::string name = arguments.Word("NAME");
    const FaultName* row = FindFaultName(name);
    if (row == nullptr) {
        throw UnknownWord("fault", name, FaultNames());
    }
    return *row;
}

Fault ParseKindAndValue(Arguments& arguments) {
    const FaultName& row = ParseName(arguments);
    Fault fault;
    fault.kind = row.kind;
    switch (row.value) {
        case FaultName::Value::kNone:
            break;
        case FaultName::Value::kMilliseconds:
            fault.number = arguments.Number(row.valueName, kLongestDuration);
            break;
        case FaultName::Value::kByte:
            fault.number = arguments.Byte(row.valueName);
            break;
        case FaultName::Value::kHex:
            fault.bytes = arguments.Hex(row.valueName, kLongestJunk);
            break;
    }
    return fault;
}

void ParseCount(Arguments& arguments, Fault& fault) {
    if (arguments.TakeIf("always")) {
        fault.Always();
    } else if (!arguments.IsEmpty() && arguments.Peek() != "lock") {
        fault.Times(arguments.Number("COUNT", Fault::kAlways - 1));
    }
}

void ParseLock(Arguments& arguments, Fault& fault) {
    if (arguments.TakeIf("lock")) {
        fault.ForLock(arguments.Number("ADDRESS"));
    }
}

Action ParseFault(Arguments& arguments) {
    if (arguments.TakeIf("off")) {
        return Silent([](GatewaySimulator& gateway) { gateway.ClearFaults(); });
    }
    Fault fault = ParseKindAndValue(arguments);
    ParseCount(arguments, fault);
    ParseLock(arguments, fault);
    return Silent([fault](GatewaySimulator& gateway) { gateway.Inject(fault); });
}

std::string ListFaults(const GatewaySimulator& gateway) {
    std::string list;
    for (const Fault& fault : gateway.Faults()) {
        list += (list.empty() ? "" : "\n") + DescribePendingFault(fault);
    }
    return list.empty() ? "no faults" : list;
}

Action ParseFaults(Arguments& /*arguments*/) {
    return ListFaults;
}

}  // namespace

std::vector<ConsoleCommand> FaultCommands() {
    return {
        {"fault", "NAME [VALUE] [COUNT|always] [lock ADDRESS]", "Spoil answers, see below; \"fault off\" ends it",
         ParseFault},
        {"faults", "", "List the pending faults", ParseFaults},
    };
}

}  // namespace Simulator
