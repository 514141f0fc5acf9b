#include "tools/gateway-simulator/ProtocolCodes.h"

#include <algorithm>
#include <array>

namespace Simulator {
namespace {

constexpr std::array<const char*, 13> kResultNames = {
    "OK",
    "RESULT",
    "ALREADY_IN_WHITELIST",
    "WHITELIST_FULL",
    "NOT_IN_WHITELIST",
    "UNKNOWN_HEADER_VERSION",
    "NOT_SUPPORTED",
    "SEQUENCE_COUNTER_ERROR",
    "NO_ROUTE",
    "DATA_LENGTH_MISMATCH",
    "MESSAGE_UNEXPECTED",
    "SETUP_NUMBER_MISMATCH",
    "SYSTEM_INCONSISTENCY",
};

constexpr std::array<std::uint8_t, 4> kCardEvents = {kCardEvent, 0x0F, 0x11, 0x12};

}  // namespace

const char* ResultName(std::uint8_t result) {
    return result < kResultNames.size() ? kResultNames.at(result) : "RESULT";
}

bool IsCardEvent(std::uint8_t code) {
    return std::find(kCardEvents.begin(), kCardEvents.end(), code) != kCardEvents.end();
}

bool IsGatewayOnly(std::uint8_t code) {
    return code == kResultAnswer || code == kPinEvent || IsCardEvent(code);
}

}  // namespace Simulator
