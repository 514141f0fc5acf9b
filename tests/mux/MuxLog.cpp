#include "tests/mux/MuxLog.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Testing {
namespace {

const char* const kMutexes[] = {"muxMessageQueueMutex", "clientMessageQueueMutex", "pendingMessagesListMutex"};

bool Holds(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsOfTheMux(const std::string& line) {
    const bool isOfItsGuards =
        Holds(line, "Threading::MutexGuard::") &&
        std::any_of(std::begin(kMutexes), std::end(kMutexes), [&](const char* name) { return Holds(line, name); });
    return Holds(line, "Mux::") || isOfItsGuards;
}

// A signature ends with its parameters, with "const", or with what its template parameters stand for.
bool IsSignature(const std::string& text) {
    return EndsWith(text, ")") || EndsWith(text, ") const") || EndsWith(text, "]");
}

bool Matches(const CapturedLog::Line& line, const Step& step) {
    const std::string end = " " + step.text;
    return line.first == step.severity && EndsWith(line.second, end) &&
           IsSignature(line.second.substr(0, line.second.size() - end.size()));
}

std::string Described(const std::vector<CapturedLog::Line>& lines, const Steps& steps) {
    std::string text = "expected:\n";
    for (const Step& step : steps) {
        text += std::string(plog::severityToString(step.severity)) + " " + step.text + "\n";
    }
    text += "logged:\n";
    for (const CapturedLog::Line& line : lines) {
        text += std::string(plog::severityToString(line.first)) + " " + line.second + "\n";
    }
    return text;
}

}  // namespace

Steps operator+(Steps first, const Steps& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

MuxLog::MuxLog(const CapturedLog& log) : log_(log), begin_(log.Lines().size()) {}

void MuxLog::Expect(const Steps& steps) const {
    const std::vector<CapturedLog::Line> lines = Lines();
    EXPECT_TRUE(std::equal(lines.begin(), lines.end(), steps.begin(), steps.end(), Matches)) << Described(lines, steps);
}

std::vector<CapturedLog::Line> MuxLog::Lines() const {
    std::vector<CapturedLog::Line> lines = log_.LinesBehind(begin_);
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const CapturedLog::Line& line) { return !IsOfTheMux(line.second); }),
                lines.end());
    return lines;
}

}  // namespace Testing
