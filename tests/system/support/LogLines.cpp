#include "tests/system/support/LogLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string_view>

namespace SystemTest {
namespace {

constexpr std::string_view kSeverities[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERB"};
constexpr std::size_t kSeverityWidth = 5;

// Takes a line apart from its start on. Every method returns false when the line does not go on that way.
class LineReader {
  public:
    explicit LineReader(std::string_view line) : rest_(line) {}

    // A # stands for a digit.
    bool Skip(std::string_view form) {
        const bool matches =
            rest_.size() >= form.size() &&
            std::equal(form.begin(), form.end(), rest_.begin(), [](char wanted, char is) {
                return wanted == '#' ? std::isdigit(static_cast<unsigned char>(is)) != 0 : wanted == is;
            });
        rest_.remove_prefix(matches ? form.size() : 0);
        return matches;
    }

    bool TakeSeverity(std::string& severity) {
        severity = rest_.substr(0, kSeverityWidth);
        severity.erase(severity.find_last_not_of(' ') + 1);
        rest_.remove_prefix(std::min(kSeverityWidth, rest_.size()));
        return std::find(std::begin(kSeverities), std::end(kSeverities), severity) != std::end(kSeverities);
    }

    bool TakeUntil(std::string_view end, std::string& taken) {
        taken = rest_.substr(0, rest_.find(end));
        return SkipUntil(end);
    }

    bool SkipUntil(std::string_view end) {
        const std::size_t found = rest_.find(end);
        rest_.remove_prefix(found == std::string_view::npos ? rest_.size() : found + end.size());
        return found != std::string_view::npos;
    }

    std::string Rest() const { return std::string(rest_); }

  private:
    std::string_view rest_;
};

}  // namespace

bool LogLine::Says(const std::string& text) const {
    const std::string end = " " + text;
    return message.size() > end.size() && message.compare(message.size() - end.size(), end.size(), end) == 0;
}

std::optional<LogLine> ParseLogLine(const std::string& line) {
    LineReader reader(line);
    LogLine parsed;
    const bool hasForm = reader.Skip("####-##-## ##:##:##.### ") && reader.TakeSeverity(parsed.severity) &&
                         reader.Skip(" [") && reader.TakeUntil("] [", parsed.thread) && reader.SkipUntil("@") &&
                         reader.SkipUntil("] ");
    parsed.message = reader.Rest();
    const bool hasThread = parsed.thread.find_first_not_of("0123456789") == std::string::npos;
    return hasForm && hasThread ? std::make_optional(parsed) : std::nullopt;
}

std::vector<LogLine> ParseLogLines(const std::vector<std::string>& lines) {
    std::vector<LogLine> parsed;
    for (const std::string& line : lines) {
        if (auto one = ParseLogLine(line)) {
            parsed.push_back(*std::move(one));
        }
    }
    return parsed;
}

void ExpectInOrder(const std::vector<std::string>& lines, const std::vector<ExpectedLine>& expected) {
    const std::vector<LogLine> log = ParseLogLines(lines);
    auto position = log.begin();
    for (const ExpectedLine& wanted : expected) {
        position = std::find_if(position, log.end(), [&](const LogLine& line) {
            return (wanted.severity.empty() || line.severity == wanted.severity) && line.Says(wanted.text);
        });
        if (position == log.end()) {
            ADD_FAILURE() << "not logged, or not in this order: " << wanted.severity << " " << wanted.text;
            return;
        }
        ++position;
    }
}

}  // namespace SystemTest
