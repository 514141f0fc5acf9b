#pragma once

#include <optional>
#include <string>
#include <vector>

namespace SystemTest {

// One line of the Mux's log: "2026-11-20 11:13:34.375 INFO  [830] [Mux::BrenkMux::Start@84] MESSAGE", the message
// being the full signature of a function, a blank and a text.
struct LogLine {
    // "FATAL", "ERROR", "WARN", "INFO", "DEBUG" or "VERB".
    std::string severity;
    std::string thread;
    std::string message;

    // Whether the message is some signature and this text.
    bool Says(const std::string& text) const;
};

// Nothing for a line of another form, as the further lines of a text that has several.
std::optional<LogLine> ParseLogLine(const std::string& line);
// Those of `lines` that have the form.
std::vector<LogLine> ParseLogLines(const std::vector<std::string>& lines);

// A severity, or nothing for any, and a text.
struct ExpectedLine {
    std::string severity;
    std::string text;
};

// Records a failure unless the log has these lines in this order; others may stand between.
void ExpectInOrder(const std::vector<std::string>& lines, const std::vector<ExpectedLine>& expected);

}  // namespace SystemTest
