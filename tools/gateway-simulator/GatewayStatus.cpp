#include "tools/gateway-simulator/GatewayStatus.h"

namespace Simulator {

LockStatus StatusOf(const Lock& lock, Lock::TimePoint now) {
    LockStatus status;
    status.address = lock.Address();
    status.state = lock.StateAt(now);
    status.batteryStatus = lock.BatteryStatus();
    status.batteryLevel = lock.BatteryLevel();
    status.cards = lock.Cards().Entries().size();
    status.capacity = lock.Cards().Capacity();
    status.whitelistEnabled = lock.Cards().IsEnabled();
    status.mechanicalActive = lock.HasFlag(Lock::StatusFlag::kMechanicalActive);
    status.batteryWarning = lock.HasFlag(Lock::StatusFlag::kBatteryWarning);
    status.batteryAlarm = lock.HasFlag(Lock::StatusFlag::kBatteryAlarm);
    status.eventPending = lock.PendingEvent().has_value();
    return status;
}

}  // namespace Simulator
