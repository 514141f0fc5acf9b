#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "proxy/audit/AuditLog.h"

namespace MuxProxy {

// The row as it may be kept: one line of valid UTF-8 in each text, no data of a PIN, and of a card its last four digits
// behind a star, or half of them when it is shorter, unless `wholeCards`. Any thread.
AuditRow Storable(AuditRow row, bool wholeCards);

// Empty without a number. Any thread.
std::string NumberText(const std::optional<std::int32_t>& number);

// The text as a field of RFC 4180. Strangers choose some texts, and spreadsheets take one that begins with "=", "+",
// "-" or
// "@" for a formula: it gets an apostrophe in front. Any thread.
std::string CsvField(const std::string& text);

// One line of valid UTF-8: control characters become question marks. Any thread.
std::string OneLine(const std::string& text);

}  // namespace MuxProxy
