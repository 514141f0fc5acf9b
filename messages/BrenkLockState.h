#pragma once

#include <cstdint>

#include "messages/AnswerPayloads.h"

namespace Brenk::Messages {

// The two battery values of a lock.
enum BrenkBatteryStatus : std::uint32_t {
    kBatteryStatusNotAvailable = 0,
    kBatteryResistanceTooHigh = 1,
    kBatteryMedium = 2,
    kBatteryFull = 3,
};

enum BrenkBatteryLevel : std::uint32_t {
    kBatteryBelow80Percent = 0,
    kBatteryAtLeast80Percent = 1,
    kBatteryAtLeast90Percent = 2,
    kBatteryAtLeast95Percent = 3,
};

// The status of a lock, decoded from the seven bytes of its answer:
//
//   byte 0, bits 0-1  battery status
//   byte 0, bits 2-3  battery level
//   byte 2, bit 2     mechanical active
//   byte 2, bit 3     battery warning
//   byte 2, bit 4     battery alarm
//   byte 2, bit 6     reader connected
//
// The other bits and bytes are not used. A value: copies are independent.
class BrenkLockState {
  public:
    // Decodes `payload`, which stays the caller's, and logs what it finds. Null gives a state of zeros and a
    // warning. Any thread may call it; it never throws on content.
    static BrenkLockState ParseFromBuffer(BrenkGetStatusPayload* payload);

    BrenkBatteryStatus BatteryStatus() const { return batteryStatus_; }
    BrenkBatteryLevel BatteryLevel() const { return batteryLevel_; }
    // Always 0: no status byte feeds it.
    std::uint32_t Reserved() const { return reserved_; }
    bool BatteryAlarm() const { return batteryAlarm_; }
    bool BatteryWarning() const { return batteryWarning_; }
    bool MechanicalActive() const { return mechanicalActive_; }
    bool ReaderConnected() const { return readerConnected_; }

  private:
    BrenkBatteryStatus batteryStatus_ = kBatteryStatusNotAvailable;
    BrenkBatteryLevel batteryLevel_ = kBatteryBelow80Percent;
    std::uint32_t reserved_ = 0;
    bool batteryAlarm_ = false;
    bool batteryWarning_ = false;
    bool mechanicalActive_ = false;
    bool readerConnected_ = false;
};

}  // namespace Brenk::Messages
