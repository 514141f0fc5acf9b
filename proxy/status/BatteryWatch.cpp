#include "proxy/status/BatteryWatch.h"

#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {

BatteryWatch::BatteryWatch(const std::vector<AuditRow>& earlier) {
    for (const AuditRow& row : earlier) {
        isLow_[{row.gateway.value_or(0), row.lock.value_or(0)}] = row.operation == kBatteryLow;
    }
}

std::optional<AuditRow> BatteryWatch::StatusCame(const MuxClient::LockAddress& lock,
                                                 const MuxClient::LockStatus& status) {
    bool& wasLow = isLow_[{lock.gateway, lock.lock}];
    const bool isLow = status.batteryWarningLevel || status.batteryAlarmLevel;
    if (std::exchange(wasLow, isLow) == isLow) {
        return std::nullopt;
    }
    AuditRow row;
    row.kind = "event";
    row.operation = isLow ? kBatteryLow : kBatteryGood;
    row.gateway = lock.gateway;
    row.lock = lock.lock;
    row.remark = !isLow ? "" : status.batteryAlarmLevel ? "alarm level" : "warning level";
    return row;
}

}  // namespace MuxProxy
