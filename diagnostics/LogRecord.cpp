#include "diagnostics/LogRecord.h"

#include <plog/Util.h>

#include <array>
#include <atomic>
#include <new>

namespace Diagnostics {
namespace {

// As many threads as usually write a line at the same time.
constexpr std::size_t kSpareRecords = 4;
constexpr std::size_t kLongestTextKept = 1024;

// Never freed: the process may leave while other threads log.
std::array<std::atomic<LogRecord*>, kSpareRecords> spareRecords{};

}  // namespace

LogRecord::LogRecord() : plog::Record(plog::none, "", 0, "", nullptr, 0) {}

void LogRecord::Begin(plog::Severity severity, const char* function, std::size_t line) {
    plog::util::ftime(&time_);
    thread_ = plog::util::gettid();
    severity_ = severity;
    function_ = function;
    line_ = line;
    text_.clear();
}

const char* LogRecord::getFunc() const {
    name_ = plog::util::processFuncName(function_);
    return name_.c_str();
}

void GiveRecordBack::operator()(LogRecord* record) const {
    if (record->Text().capacity() > kLongestTextKept) {
        std::string().swap(record->Text());
    }
    for (std::atomic<LogRecord*>& spare : spareRecords) {
        LogRecord* none = nullptr;
        if (spare.load(std::memory_order_relaxed) == nullptr &&
            spare.compare_exchange_strong(none, record, std::memory_order_release, std::memory_order_relaxed)) {
            return;
        }
    }
    delete record;
}

LogRecordPointer TakeRecord() noexcept {
    for (std::atomic<LogRecord*>& spare : spareRecords) {
        if (spare.load(std::memory_order_relaxed) != nullptr) {
            if (LogRecord* const record = spare.exchange(nullptr, std::memory_order_acquire)) {
                return LogRecordPointer(record);
            }
        }
    }
    return LogRecordPointer(new (std::nothrow) LogRecord);
}

}  // namespace Diagnostics
