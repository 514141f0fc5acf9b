#include "diagnostics/LogOutputs.h"

#include <plog/Appenders/ColorConsoleAppender.h>
#include <plog/Appenders/ConsoleAppender.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Record.h>

#include <utility>

#include "diagnostics/LastingFileAppender.h"

namespace Diagnostics {
namespace {

// What the thread is writing right now; null between two lines.
thread_local std::string* formattedLine = nullptr;

// The formatters of the single outputs, which give them what was formatted before. The file only looks at it; the
// console, which comes last and keeps a line of its own, takes it over.
struct LentLine {
    static std::string header() { return {}; }
    static const std::string& format(const plog::Record& /*record*/) { return *formattedLine; }
};

struct GivenLine {
    static std::string format(const plog::Record& /*record*/) { return std::move(*formattedLine); }
};

using PlainConsole = plog::ConsoleAppender<GivenLine>;
using ColorConsole = plog::ColorConsoleAppender<GivenLine>;
using LastingFile = LastingFileAppender<LentLine>;

}  // namespace

LogOutputs::LogOutputs(bool colors) {
    if (colors) {
        console_ = std::make_unique<ColorConsole>();
    } else {
        console_ = std::make_unique<PlainConsole>();
    }
}

void LogOutputs::AddFile(const std::string& fileName, std::size_t maximumBytes, int files) {
    file_ = std::make_unique<LastingFile>(fileName, maximumBytes, files);
}

void LogOutputs::write(const plog::Record& record) {
    std::string line = plog::TxtFormatter::format(record);
    formattedLine = &line;
    if (file_ != nullptr) {
        file_->write(record);
    }
    console_->write(record);
    formattedLine = nullptr;
}

}  // namespace Diagnostics
