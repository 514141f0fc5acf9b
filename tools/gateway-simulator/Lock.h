#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "tools/gateway-simulator/Whitelist.h"

namespace Simulator {

// One door lock of the gateway: bolt, status bytes, reader and whitelist.
//
// A value; not thread-safe. Time is a parameter, so that tests need not wait for a lock to close by itself.
class Lock {
  public:
    using Clock = std::chrono::steady_clock;
    using TimePoint = Clock::time_point;

    // The status answer's bytes:
    //   byte 0, bits 0-1   battery status, 0 none to 3 full
    //   byte 0, bits 2-3   battery level, 0 below 80 % to 3 at least 95 %
    //   byte 2             flags, see StatusFlag
    //   other bytes        of no known meaning
    using StatusBytes = std::array<std::uint8_t, 7>;

    // Bits of status byte 2.
    enum class StatusFlag : std::uint8_t {
        kMechanicalActive = 0x04,
        kBatteryWarning = 0x08,
        kBatteryAlarm = 0x10,
        kBitSix = 0x40,
    };

    enum class State { kClosed, kOpen, kOpenUntil };

    static constexpr std::size_t kDefaultCapacity = 100;

    // Takes the device address and the room in the whitelist. The lock begins closed, its battery full.
    explicit Lock(std::uint32_t address, std::size_t whitelistCapacity = kDefaultCapacity);

    std::uint32_t Address() const { return address_; }

    // Opens until closed.
    void Open();
    // Opens for a while from `now` on.
    void OpenFor(std::chrono::seconds duration, TimePoint now);
    // Closes when `delay` has passed from `now` on; a closed lock stays closed.
    void CloseAfter(std::chrono::seconds delay, TimePoint now);
    State StateAt(TimePoint now) const;

    const StatusBytes& Status() const { return status_; }
    void SetStatus(const StatusBytes& status) { status_ = status; }
    // Takes both as 0 to 3; higher bits are cut off.
    void SetBattery(std::uint8_t status, std::uint8_t level);
    unsigned BatteryStatus() const;
    unsigned BatteryLevel() const;
    void SetFlag(StatusFlag flag, bool on);
    bool HasFlag(StatusFlag flag) const;

    // Code of the reader event that no command has answered yet.
    const std::optional<std::uint8_t>& PendingEvent() const { return pendingEvent_; }
    void EventRaised(std::uint8_t code) { pendingEvent_ = code; }
    void EventAnswered() { pendingEvent_.reset(); }

    // Whether the lock refuses a command that claims to answer an event when none is pending. Off at first.
    bool DemandsEvent() const { return demandsEvent_; }
    void DemandEvent(bool demand) { demandsEvent_ = demand; }

    Whitelist& Cards() { return cards_; }
    const Whitelist& Cards() const { return cards_; }

  private:
    std::uint32_t address_;
    bool open_ = false;
    // When an open lock closes by itself; nothing when it does not.
    std::optional<TimePoint> closesAt_;
    StatusBytes status_ = {0x0F, 0, 0, 0, 0, 0, 0};
    std::optional<std::uint8_t> pendingEvent_;
    bool demandsEvent_ = false;
    Whitelist cards_;
};

}  // namespace Simulator
