#pragma once

#include <fcntl.h>
#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>

namespace Diagnostics {

// A rolling file that recovers. The library's appender opens its file once, at the first line and at each roll; if that
// fails, for lack of a descriptor for example, it stays silent for good. This one checks the file once a second while
// writing, and has it reopened. A partly written line, as on a full disk, is completed before the next one.
//
// `Formatter` is one of the library's kind: header() and format(record). For one thread at a time.
template <typename Formatter>
class ReopeningFileAppender : public plog::RollingFileAppender<Formatter, plog::UTF8Converter> {
  public:
    // A file that has outgrown `maximumBytes` is renamed before the next line; `files` of them are kept, 2 or more.
    ReopeningFileAppender(const std::string& name, std::size_t maximumBytes, int files)
        : Rolling(name.c_str(), maximumBytes, files), name_(name) {}

    void write(const plog::Record& record) override {
        if (isTorn_) {
            isTorn_ = !EndLine();
        }
        Rolling::write(record);
        if (IsTimeToLook() && HasFallenSilent()) {
            isTorn_ = EndsInsideALine();
            this->setFileName(name_.c_str());
        }
    }

  private:
    using Rolling = plog::RollingFileAppender<Formatter, plog::UTF8Converter>;
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

    bool EndsInsideALine() const {
        const int file = open(PathOnDisk().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        char last = '\n';
        const bool isRead = file != -1 && seen_.st_size > 0 && pread(file, &last, 1, seen_.st_size - 1) == 1;
        close(file);
        return isRead && last != '\n';
    }

    // Returns false if the fault persists.
    bool EndLine() const {
        const int file = open(PathOnDisk().c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
        const bool isEnded = file != -1 && ::write(file, "\n", 1) == 1;
        close(file);
        return isEnded;
    }

    // A trailing point means that there is no extension, and is not part of the name.
    std::string PathOnDisk() const {
        const bool hasPoint = !name_.empty() && name_.back() == '.';
        return name_.substr(0, name_.size() - (hasPoint ? 1 : 0));
    }

    const std::string name_;
    Clock::time_point nextLook_ = Clock::now() + kPeriod;
    struct stat seen_ = {};
    bool isTorn_ = false;
};

}  // namespace Diagnostics
