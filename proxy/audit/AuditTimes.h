#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace MuxProxy {

// What `ParseAuditTime` reads, for people.
constexpr const char* kAuditTimeForms =
    "2026-11-20, \"2026-11-20 14:30\", 14:30, today, yesterday, now or \"2 hours ago\"";

// A time that a user gives: a date with or without a time of day, a time of today, today or yesterday (their first
// moment), now, or a number of seconds, minutes, hours, days or weeks ago. Nothing for other texts. Any thread.
std::optional<std::chrono::system_clock::time_point> ParseAuditTime(const std::string& text,
                                                                    std::chrono::system_clock::time_point now,
                                                                    bool isUtc);

// "2026-11-20 14:30:05". Any thread.
std::string ReadableTime(std::chrono::system_clock::time_point time, bool isUtc);

// "2026-11-20T14:30:05.123+01:00", or with a Z in UTC. Any thread.
std::string ExactTime(std::chrono::system_clock::time_point time, bool isUtc);

}  // namespace MuxProxy
