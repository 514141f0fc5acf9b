#include "diagnostics/LogOutputs.h"

#include <plog/Appenders/ColorConsoleAppender.h>
#include <plog/Appenders/ConsoleAppender.h>
#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <plog/Record.h>

#include <algorithm>
#include <ctime>

namespace Diagnostics {
namespace {

// What the thread is writing right now; null between two lines.
thread_local const std::string* formattedLine = nullptr;

// The formatter of the single outputs, which gives them what was formatted before.
struct FormattedLine {
    static std::string header() { return {}; }
    static std::string format(const plog::Record& /*record*/) { return *formattedLine; }
};

void AppendNumber(std::string& text, int number, std::size_t width) {
    const std::string digits = std::to_string(number);
    text.append(width - std::min(width, digits.size()), '0').append(digits);
}

struct TimePart {
    int value;
    std::size_t width;
    const char* behind;
};

void AppendTime(std::string& text, const plog::util::Time& time) {
    tm local = {};
    plog::util::localtime_s(&local, &time.time);
    const TimePart parts[] = {
        {local.tm_year + 1900, 1, "-"}, {local.tm_mon + 1, 2, "-"}, {local.tm_mday, 2, " "}, {local.tm_hour, 2, ":"},
        {local.tm_min, 2, ":"},         {local.tm_sec, 2, "."},     {time.millitm, 3, " "},
    };
    for (const TimePart& part : parts) {
        AppendNumber(text, part.value, part.width);
        text += part.behind;
    }
}

// The text that plog::TxtFormatter gives, for a third of its instructions: that one makes a stream for each line.
std::string Format(const plog::Record& record) {
    constexpr std::size_t kSeverityWidth = 5;
    constexpr std::size_t kUsualLength = 500;
    std::string line;
    line.reserve(kUsualLength);
    AppendTime(line, record.getTime());
    const std::string severity = plog::severityToString(record.getSeverity());
    line.append(severity).append(kSeverityWidth - std::min(kSeverityWidth, severity.size()), ' ');
    line.append(" [").append(std::to_string(record.getTid())).append("] [");
    line.append(record.getFunc()).append("@").append(std::to_string(record.getLine())).append("] ");
    return line.append(record.getMessage()).append("\n");
}

using PlainConsole = plog::ConsoleAppender<FormattedLine>;
using ColorConsole = plog::ColorConsoleAppender<FormattedLine>;
using RollingFile = plog::RollingFileAppender<FormattedLine, plog::UTF8Converter>;

}  // namespace

LogOutputs::LogOutputs(bool colors) {
    if (colors) {
        console_ = std::make_unique<ColorConsole>();
    } else {
        console_ = std::make_unique<PlainConsole>();
    }
}

void LogOutputs::AddFile(const std::string& fileName, std::size_t maximumBytes, int files) {
    file_ = std::make_unique<RollingFile>(fileName.c_str(), maximumBytes, files);
}

void LogOutputs::write(const plog::Record& record) {
    const std::string line = Format(record);
    formattedLine = &line;
    console_->write(record);
    if (file_ != nullptr) {
        file_->write(record);
    }
    formattedLine = nullptr;
}

}  // namespace Diagnostics
