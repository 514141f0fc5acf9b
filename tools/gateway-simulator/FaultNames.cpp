#include "tools/gateway-simulator/FaultNames.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

namespace Simulator {
namespace {

using Value = FaultName::Value;

constexpr std::array<FaultName, 14> kFaultNames = {{
    {FaultKind::kDelay, "delay", Value::kMilliseconds, "MILLISECONDS", "Delay the answer by this time"},
    {FaultKind::kSilence, "silence", Value::kNone, "", "Never answer"},
    {FaultKind::kClose, "close", Value::kNone, "", "Close the connection instead of answering"},
    {FaultKind::kReset, "reset", Value::kNone, "", "Reset the connection instead of answering"},
    {FaultKind::kCloseMidFrame, "close-mid-frame", Value::kNone, "", "Send half the answer, then close"},
    {FaultKind::kByteByByte, "byte-by-byte", Value::kMilliseconds, "MILLISECONDS", "Send single bytes with pauses"},
    {FaultKind::kGlue, "glue", Value::kNone, "", "Send the answer together with the next frame"},
    {FaultKind::kJunk, "junk", Value::kHex, "HEX", "Send these bytes before the answer"},
    {FaultKind::kWrongCrc, "wrong-crc", Value::kNone, "", "Invert the CRC"},
    {FaultKind::kWrongLength, "wrong-length", Value::kByte, "BYTE", "Put this into the length byte"},
    {FaultKind::kUnknownReference, "unknown-reference", Value::kNone, "", "Answer with another reference ID"},
    {FaultKind::kTwice, "twice", Value::kNone, "", "Send the answer twice"},
    {FaultKind::kForceResult, "force-result", Value::kByte, "RESULT", "Answer with this result, execute nothing"},
    {FaultKind::kAnswerCode, "answer-code", Value::kByte, "CODE", "Answer with this command code"},
}};

const FaultName& NameOf(FaultKind kind) {
    const auto* found =
        std::find_if(kFaultNames.begin(), kFaultNames.end(), [&](const FaultName& row) { return row.kind == kind; });
    return kFaultNames.at(static_cast<std::size_t>(found - kFaultNames.begin()));
}

}  // namespace

const FaultName* FindFaultName(std::string_view name) {
    for (const FaultName& row : kFaultNames) {
        if (row.name == name) {
            return &row;
        }
    }
    return nullptr;
}

std::vector<std::string_view> FaultNames() {
    std::vector<std::string_view> names;
    names.reserve(kFaultNames.size());
    for (const FaultName& row : kFaultNames) {
        names.emplace_back(row.name);
    }
    return names;
}

std::string DescribeFault(const Fault& fault) {
    const FaultName& row = NameOf(fault.kind);
    std::string text = row.name;
    if (row.value == Value::kHex) {
        text += " " + ToHex(fault.bytes);
    } else if (row.value != Value::kNone) {
        text += " " + std::to_string(fault.number);
    }
    return text;
}

std::string DescribePendingFault(const Fault& fault) {
    const std::string count =
        fault.remaining == Fault::kAlways ? "always" : "for " + std::to_string(fault.remaining) + " more";
    const std::string lock = fault.address ? ", lock " + std::to_string(*fault.address) : "";
    return DescribeFault(fault) + " (" + count + lock + ")";
}

std::string FaultHelp() {
    std::ostringstream help;
    for (const FaultName& row : kFaultNames) {
        help << "  " << std::left << std::setw(30) << std::string(row.name) + " " + row.valueName << ' ' << row.help
             << '\n';
    }
    return help.str();
}

}  // namespace Simulator
