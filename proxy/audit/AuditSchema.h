#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/Database.h"

namespace MuxProxy {

// What marks a SQLite file as an audit ("MuxA"), and the version of its tables.
constexpr std::int64_t kAuditApplication = 0x4D757841;
constexpr std::int64_t kAuditVersion = 1;

// Operation of an event whose row never has data: the digits are somebody's secret.
constexpr const char* kPinOperation = "pin";
// Operation of the row that says why the file could not be written.
constexpr const char* kFailedOperation = "audit-failed";
// Operation of the row that says why the clock is in doubt.
constexpr const char* kDoubtOperation = "clock-doubted";
// Operations of events about batteries, which the proxy makes itself, and the condition that finds their rows.
constexpr const char* kBatteryLow = "battery-low";
constexpr const char* kBatteryGood = "battery-good";
constexpr const char* kIsAboutBatteries = "operation IN ('battery-low', 'battery-good')";
// Result of a request whose end nobody saw.
constexpr const char* kUnknownResult = "unknown";

// Throws AuditFileError unless the file is an audit that this version understands.
void CheckAuditVersion(const Database& database, const std::string& path);

// What AuditRowOf() reads.
constexpr const char* kAuditColumns =
    "time, kind, client, address, operation, gateway, lock, card, result, errorCode, milliseconds, remark";

// The row that begins at this column.
AuditRow AuditRowOf(const Statement& statement, int column = 0);

// Times are stored in milliseconds since 1970, in UTC.
inline std::int64_t AuditTime(std::chrono::system_clock::time_point time) {
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

}  // namespace MuxProxy
