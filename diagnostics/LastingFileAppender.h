#pragma once

#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

namespace Diagnostics {

// A rolling file that lasts. The library's tries to open its file once, at the first line and each time it rolls; when
// that fails, for want of a descriptor, say, it stays silent for good. This one looks after the file once a second,
// when there is a line to write, and has it opened again.
//
// `Formatter` is one of the library's kind: header() and format(record). Any thread may write.
template <typename Formatter>
class LastingFileAppender : public plog::RollingFileAppender<Formatter, plog::UTF8Converter> {
  public:
    // A file that has outgrown `maximumBytes` is renamed before the next line; `files` of them are kept, 2 or more.
    LastingFileAppender(const std::string& name, std::size_t maximumBytes, int files)
        : Rolling(name.c_str(), maximumBytes, files), name_(name) {}

    void write(const plog::Record& record) override {
        Rolling::write(record);
        const std::unique_lock<std::mutex> look(look_, std::try_to_lock);
        if (look.owns_lock() && IsTimeToLook() && HasFallenSilent()) {
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

}  // namespace Diagnostics
