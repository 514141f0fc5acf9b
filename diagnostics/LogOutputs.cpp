#include "diagnostics/LogOutputs.h"

#include <plog/Log.h>
#include <unistd.h>

#include <utility>

#include "diagnostics/LogRecord.h"
#include "diagnostics/ReopeningFileAppender.h"

namespace Diagnostics {
namespace {

// What the thread is writing right now; null between two lines.
thread_local const std::string* formattedLine = nullptr;

// The formatter of the file, which gives it what was formatted before.
struct BorrowedLine {
    static std::string header() { return {}; }
    static const std::string& format(const plog::Record& /*record*/) { return *formattedLine; }
};

using ReopeningFile = ReopeningFileAppender<BorrowedLine>;

constexpr plog::Severity kNoticeSeverity = plog::warning;

}  // namespace

LogOutputs::StyledStream::StyledStream(LineTarget target, bool colors)
    : style(target.Descriptor(), colors), lines(std::move(target), [this](std::size_t missing) {
          return style.Styled(NoticeOfMissing(missing), kNoticeSeverity);
      }) {}

LogOutputs::LogOutputs(bool colors) : console_(LineTarget::Console(STDOUT_FILENO), colors) {}

void LogOutputs::AddFile(const std::string& fileName, std::size_t maximumBytes, int files) {
    file_ = std::make_unique<ReopeningFile>(fileName, maximumBytes, files);
}

void LogOutputs::AddDevice(LineTarget target) {
    device_ = std::make_unique<StyledStream>(std::move(target), false);
}

void LogOutputs::write(const plog::Record& record) {
    std::string line = LineText(record);
    const std::lock_guard<std::mutex> lock(order_);
    if (file_ != nullptr) {
        formattedLine = &line;
        file_->write(record);
        formattedLine = nullptr;
    }
    if (device_ != nullptr) {
        device_->lines.Write(device_->style.Styled(line, record.getSeverity()));
    }
    console_.lines.Write(console_.style.Styled(std::move(line), record.getSeverity()));
}

void LogOutputs::WriteToConsole(std::string text) {
    console_.lines.Write(std::move(text));
}

void LogOutputs::Flush(std::chrono::milliseconds atMost) {
    const LogStream::Clock::time_point end = LogStream::Clock::now() + atMost;
    console_.lines.Flush(end);
    if (device_ != nullptr) {
        device_->lines.Flush(end);
    }
}

std::string LogOutputs::NoticeOfMissing(std::size_t lines) {
    plog::Record record(kNoticeSeverity, PLOG_GET_FUNC(), __LINE__, "", nullptr, 0);
    record << __PRETTY_FUNCTION__ << " Output was blocked. " << lines << " lines are missing here.";
    return LineText(record);
}

}  // namespace Diagnostics
