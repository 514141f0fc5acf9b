#include "tools/gateway-simulator/Lock.h"

namespace Simulator {
namespace {

constexpr std::size_t kBatteryByte = 0;
constexpr std::size_t kFlagByte = 2;

}  // namespace

Lock::Lock(std::uint32_t address, std::size_t whitelistCapacity) : address_(address), cards_(whitelistCapacity) {}

void Lock::Open() {
    open_ = true;
    closesAt_.reset();
}

void Lock::OpenFor(std::chrono::seconds duration, TimePoint now) {
    open_ = true;
    closesAt_ = now + duration;
}

void Lock::CloseAfter(std::chrono::seconds delay, TimePoint now) {
    if (StateAt(now) != State::kClosed) {
        closesAt_ = now + delay;
    }
}

Lock::State Lock::StateAt(TimePoint now) const {
    if (!open_ || (closesAt_ && *closesAt_ <= now)) {
        return State::kClosed;
    }
    return closesAt_ ? State::kOpenUntil : State::kOpen;
}

void Lock::SetBattery(std::uint8_t status, std::uint8_t level) {
    const unsigned others = status_.at(kBatteryByte) & 0xF0U;
    status_.at(kBatteryByte) = static_cast<std::uint8_t>(others | ((level & 3U) << 2U) | (status & 3U));
}

unsigned Lock::BatteryStatus() const {
    return status_.at(kBatteryByte) & 3U;
}

unsigned Lock::BatteryLevel() const {
    return (static_cast<unsigned>(status_.at(kBatteryByte)) >> 2U) & 3U;
}

bool Lock::HasFlag(StatusFlag flag) const {
    return (status_.at(kFlagByte) & static_cast<unsigned>(flag)) != 0;
}

void Lock::SetFlag(StatusFlag flag, bool on) {
    const auto bit = static_cast<unsigned>(flag);
    const unsigned flags = status_.at(kFlagByte);
    status_.at(kFlagByte) = static_cast<std::uint8_t>(on ? flags | bit : flags & ~bit);
}

}  // namespace Simulator
