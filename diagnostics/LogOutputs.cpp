#include "diagnostics/LogOutputs.h"

#include <plog/Appenders/ColorConsoleAppender.h>
#include <plog/Appenders/ConsoleAppender.h>
#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Record.h>

namespace Diagnostics {
namespace {

// What the thread is writing right now; null between two lines.
thread_local const std::string* formattedLine = nullptr;

// The formatter of the single outputs, which gives them what was formatted before.
struct FormattedLine {
    static std::string header() { return {}; }
    static std::string format(const plog::Record& /*record*/) { return *formattedLine; }
};

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
    const std::string line = plog::TxtFormatter::format(record);
    formattedLine = &line;
    console_->write(record);
    if (file_ != nullptr) {
        file_->write(record);
    }
    formattedLine = nullptr;
}

}  // namespace Diagnostics
