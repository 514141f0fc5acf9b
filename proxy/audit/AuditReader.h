#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "proxy/audit/AuditLog.h"

namespace MuxProxy {

enum class AuditFormat : std::uint8_t { kTable, kJson, kCsv };

// Which rows to show, and how. A value.
struct AuditQuery {
    // The SQLite file.
    std::string file;
    std::optional<std::chrono::system_clock::time_point> since;
    // Rows of this time are not shown any more.
    std::optional<std::chrono::system_clock::time_point> until;
    std::optional<std::int32_t> gateway;
    std::optional<std::int32_t> lock;
    std::optional<std::string> client;
    std::optional<std::string> kind;
    std::optional<std::string> result;
    // Only the last rows, 0 for all.
    std::uint64_t limit = 0;
    AuditFormat format = AuditFormat::kTable;
    // Times in UTC instead of local time.
    bool isUtc = false;
};

// Prints rows in the order of their times and returns 0. A proxy may be writing the file; its rows are taken some at a
// time, so that nothing is held up when the output is slow. Throws std::runtime_error with a sentence for people when
// the file cannot be read or the output cannot be written.
int RunAudit(const AuditQuery& query, std::ostream& output);

// A row as it is in the file. A value.
struct AuditEntry {
    std::int64_t id = 0;
    AuditRow row;
};

// Where a row is in the order of times, and of their coming within one time.
struct AuditPlace {
    // Milliseconds since 1970.
    std::int64_t time;
    std::int64_t id;
};

// The newest rows of the query, at most its limit, newest first; only those before a place, if there is one. Throws as
// above.
std::vector<AuditEntry> ReadAuditPage(const AuditQuery& query, const std::optional<AuditPlace>& before);

// The rows of events about batteries, oldest first; none if there is no such file. Throws as above.
std::vector<AuditRow> ReadBatteryEvents(const std::string& file);

}  // namespace MuxProxy
