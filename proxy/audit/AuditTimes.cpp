#include "proxy/audit/AuditTimes.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <sstream>

#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {
namespace {

using std::chrono::system_clock;

constexpr const char* kMoments[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M",
                                    "%Y-%m-%dT%H:%M:%S"};
constexpr const char* kTimesOfDay[] = {"%H:%M", "%H:%M:%S"};

struct Unit {
    const char* name;
    std::chrono::seconds length;
};

constexpr Unit kUnits[] = {{"second", std::chrono::seconds(1)},
                           {"minute", std::chrono::minutes(1)},
                           {"hour", std::chrono::hours(1)},
                           {"day", std::chrono::hours(24)},
                           {"week", std::chrono::hours(168)}};

constexpr int kMostUnits = 999999;

std::tm CalendarOf(system_clock::time_point time, bool isUtc) {
    const std::time_t seconds = system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    std::tm calendar = {};
    if (isUtc) {
        gmtime_r(&seconds, &calendar);
    } else {
        localtime_r(&seconds, &calendar);
    }
    return calendar;
}

// Nothing for a day that the month does not have.
std::optional<system_clock::time_point> TimeOf(std::tm calendar, bool isUtc) {
    const int day = calendar.tm_mday;
    calendar.tm_isdst = -1;
    const std::time_t seconds = isUtc ? timegm(&calendar) : mktime(&calendar);
    return calendar.tm_mday == day ? std::make_optional(system_clock::from_time_t(seconds)) : std::nullopt;
}

// The first moment of a day so many days after that of `time`.
std::tm DayOf(system_clock::time_point time, int days, bool isUtc) {
    std::tm calendar = CalendarOf(time, isUtc);
    calendar.tm_mday += days;
    // At noon, since a day may have 23 or 25 hours.
    calendar.tm_hour = 12;
    calendar.tm_isdst = -1;
    isUtc ? timegm(&calendar) : mktime(&calendar);
    calendar.tm_hour = 0;
    calendar.tm_min = 0;
    calendar.tm_sec = 0;
    return calendar;
}

bool Matches(const std::string& text, const char* form, std::tm& calendar) {
    std::tm read = calendar;
    const char* const end = strptime(text.c_str(), form, &read);
    const bool matches = end != nullptr && *end == '\0';
    if (matches) {
        calendar = read;
    }
    return matches;
}

// Nothing unless it matches one of the forms.
template <std::size_t count>
std::optional<system_clock::time_point> ReadForm(const std::string& text, const char* const (&forms)[count],
                                                 std::tm calendar, bool isUtc) {
    for (const char* const form : forms) {
        if (Matches(text, form, calendar)) {
            return TimeOf(calendar, isUtc);
        }
    }
    return std::nullopt;
}

std::optional<system_clock::time_point> ReadAgo(const std::string& text, system_clock::time_point now) {
    std::istringstream words(text);
    int count = 0;
    std::string name;
    std::string ago;
    if (words >> count >> name >> ago && ago == "ago" && words.eof() && count >= 0 && count <= kMostUnits) {
        for (const Unit& unit : kUnits) {
            if (name == unit.name || name == std::string(unit.name) + 's') {
                return now - unit.length * count;
            }
        }
    }
    return std::nullopt;
}

std::string Formatted(const std::tm& calendar, const char* form) {
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), form, &calendar)};
}

// "+01:00".
std::string OffsetOf(const std::tm& calendar) {
    const std::string offset = Formatted(calendar, "%z");
    return offset.substr(0, 3) + ":" + offset.substr(3);
}

}  // namespace

std::optional<system_clock::time_point> ParseAuditTime(const std::string& text, system_clock::time_point now,
                                                       bool isUtc) {
    if (text == "now") {
        return now;
    }
    if (text == "today" || text == "yesterday") {
        return TimeOf(DayOf(now, text == "today" ? 0 : -1, isUtc), isUtc);
    }
    if (const auto time = ReadAgo(text, now)) {
        return time;
    }
    if (const auto time = ReadForm(text, kTimesOfDay, DayOf(now, 0, isUtc), isUtc)) {
        return time;
    }
    return ReadForm(text, kMoments, {}, isUtc);
}

std::string ReadableTime(system_clock::time_point time, bool isUtc) {
    return Formatted(CalendarOf(time, isUtc), "%Y-%m-%d %H:%M:%S");
}

std::string ExactTime(system_clock::time_point time, bool isUtc) {
    const std::tm calendar = CalendarOf(time, isUtc);
    const std::string milliseconds = std::to_string(1000 + (AuditTime(time) % 1000 + 1000) % 1000).substr(1);
    return Formatted(calendar, "%Y-%m-%dT%H:%M:%S.") + milliseconds + (isUtc ? "Z" : OffsetOf(calendar));
}

}  // namespace MuxProxy
