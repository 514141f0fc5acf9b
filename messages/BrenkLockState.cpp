#include "messages/BrenkLockState.h"

#include <array>
#include <cstddef>

#include "diagnostics/Log.h"

namespace Brenk::Messages {
namespace {

constexpr std::size_t kBatteryByte = 0;
constexpr std::size_t kFlagsByte = 2;

constexpr std::uint8_t kMechanicalActiveBit = 0x04;
constexpr std::uint8_t kBatteryWarningBit = 0x08;
constexpr std::uint8_t kBatteryAlarmBit = 0x10;
constexpr std::uint8_t kReaderConnectedBit = 0x40;

constexpr std::array<const char*, 4> kBatteryStatusTexts = {
    "No battery status available.",
    "Internal resistance too high.",
    "Battery status medium.",
    "Battery status OK (full).",
};

constexpr std::array<const char*, 4> kBatteryLevelTexts = {
    "< 80%",
    "minimum 80%",
    "minimum 90%",
    "minimum 95%",
};

}  // namespace

BrenkLockState BrenkLockState::ParseFromBuffer(BrenkGetStatusPayload* payload) {
    MUX_OPERATION();
    BrenkLockState state;
    if (payload == nullptr) {
        MUX_LOG(plog::warning) << "Brenk Lock State payload is nullptr. Cannot parse lock status data.";
        return state;
    }
    MUX_LOG(plog::debug) << "Brenk Lock State payload is valid.";
    const BrenkGetStatusPayload::StatusBytes status = payload->StatusData();

    state.batteryStatus_ = static_cast<BrenkBatteryStatus>(status[kBatteryByte] & 0x03);
    MUX_LOG(plog::debug) << kBatteryStatusTexts.at(state.batteryStatus_);

    state.batteryLevel_ = static_cast<BrenkBatteryLevel>((status[kBatteryByte] & 0x0C) >> 2);
    MUX_LOG(plog::debug) << kBatteryLevelTexts.at(state.batteryLevel_);

    state.mechanicalActive_ = (status[kFlagsByte] & kMechanicalActiveBit) != 0;
    MUX_LOG(plog::debug) << (state.mechanicalActive_ ? "Lock mechanical active." : "Lock mechanical non active.");

    state.batteryWarning_ = (status[kFlagsByte] & kBatteryWarningBit) != 0;
    MUX_LOG(plog::debug) << (state.batteryWarning_ ? "Current lock is in battery warning."
                                                   : "Current lock is not in battery warning.");

    state.batteryAlarm_ = (status[kFlagsByte] & kBatteryAlarmBit) != 0;
    MUX_LOG(plog::debug) << (state.batteryAlarm_ ? "Current lock is in battery alarm."
                                                 : "Current lock is not in battery alarm.");

    state.readerConnected_ = (status[kFlagsByte] & kReaderConnectedBit) != 0;
    return state;
}

}  // namespace Brenk::Messages
