#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/Fault.h"

namespace Simulator {

// How a kind of fault is written at the console and in report lines.
struct FaultName {
    enum class Value { kNone, kMilliseconds, kByte, kHex };

    FaultKind kind;
    const char* name;
    Value value;
    // What the value is called in help, empty for kNone.
    const char* valueName;
    const char* help;
};

// Null for an unknown name.
const FaultName* FindFaultName(std::string_view name);

std::vector<std::string_view> FaultNames();

// Name and value of a fault, as in "delay 500".
std::string DescribeFault(const Fault& fault);

// The same with what it still applies to, as in "delay 500 (for 2 more, lock 5)".
std::string DescribePendingFault(const Fault& fault);

// One line for each kind of fault, for --help.
std::string FaultHelp();

}  // namespace Simulator
