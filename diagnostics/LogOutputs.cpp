#include "diagnostics/LogOutputs.h"

#include <plog/Appenders/ColorConsoleAppender.h>
#include <plog/Appenders/ConsoleAppender.h>
#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Record.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <mutex>

#include <utility>

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
using RollingFile = plog::RollingFileAppender<LentLine, plog::UTF8Converter>;

// The rolling file alone tries to open a file once, at its first line and each time it rolls. When that fails, for want
// of a descriptor, say, it stays silent for good. This one looks after it from time to time and has it opened again.
class LastingFile : public RollingFile {
  public:
    LastingFile(const std::string& name, std::size_t maximumBytes, int files)
        : RollingFile(name.c_str(), maximumBytes, files), name_(name) {}

    void write(const plog::Record& record) override {
        RollingFile::write(record);
        const std::unique_lock<std::mutex> look(look_, std::try_to_lock);
        if (look.owns_lock() && IsTimeToLook() && HasFallenSilent()) {
            setFileName(name_.c_str());
        }
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kPeriod{1};

    bool IsTimeToLook() {
        const Clock::time_point now = Clock::now();
        if (now < nextLook_) {
            return false;
        }
        nextLook_ = now + kPeriod;
        return true;
    }

    // A line was written since the last look: the file has grown, or is another one, unless no line reaches it.
    bool HasFallenSilent() {
        struct stat now = {};
        if (stat(PathOnDisk().c_str(), &now) != 0) {
            return errno == ENOENT;
        }
        const bool isTheSame = now.st_ino == seen_.st_ino && now.st_size == seen_.st_size;
        seen_ = now;
        return isTheSame && S_ISREG(now.st_mode);
    }

    // A point at the end says that there is no extension, and is no part of the name.
    std::string PathOnDisk() const {
        const bool hasPoint = !name_.empty() && name_.back() == '.';
        return name_.substr(0, name_.size() - (hasPoint ? 1 : 0));
    }

    const std::string name_;
    std::mutex look_;  // held by the thread that looks; what is below is its own
    Clock::time_point nextLook_ = Clock::now() + kPeriod;
    struct stat seen_ = {};
};

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
