#include "diagnostics/LogRecord.h"

#include <plog/Severity.h>
#include <plog/Util.h>

#include <array>
#include <atomic>
#include <charconv>
#include <ctime>
#include <limits>
#include <new>
#include <string_view>

namespace Diagnostics {
namespace {

// As many threads as usually write a line at the same time.
constexpr std::size_t kSpareRecords = 4;
constexpr std::size_t kLongestTextKept = 1024;

// Never freed: the process may leave while other threads log.
std::array<std::atomic<LogRecord*>, kSpareRecords> spareRecords{};
static_assert(std::atomic<LogRecord*>::is_always_lock_free, "signal handlers log");

constexpr int kFirstYear = 1900;
constexpr std::size_t kSeverityWidth = 5;
// Of what stands between function and text and the line's end.
constexpr std::size_t kFixedBytes = 80;

template <typename Number>
void AppendNumber(std::string& line, Number number) {
    std::array<char, std::numeric_limits<Number>::digits10 + 2> digits;
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    line.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

// The last two digits, with the mark that stands in front of them.
void AppendPair(std::string& line, char mark, int number) {
    line += mark;
    line += static_cast<char>('0' + number / 10 % 10);
    line += static_cast<char>('0' + number % 10);
}

void AppendTime(std::string& line, const plog::util::Time& time) {
    tm local = {};
    localtime_r(&time.time, &local);
    AppendNumber(line, local.tm_year + kFirstYear);
    AppendPair(line, '-', local.tm_mon + 1);
    AppendPair(line, '-', local.tm_mday);
    AppendPair(line, ' ', local.tm_hour);
    AppendPair(line, ':', local.tm_min);
    AppendPair(line, ':', local.tm_sec);
    AppendPair(line, '.', time.millitm / 10);
    line += static_cast<char>('0' + time.millitm % 10);
}

void AppendSeverity(std::string& line, plog::Severity severity) {
    const std::string_view name = plog::severityToString(severity);
    line.append(name).append(name.size() < kSeverityWidth ? kSeverityWidth - name.size() : 0, ' ');
}

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

std::string LineText(const plog::Record& record) {
    const std::string_view function = record.getFunc();
    const std::string_view text = record.getMessage();
    std::string line;
    line.reserve(kFixedBytes + function.size() + text.size());
    AppendTime(line, record.getTime());
    AppendSeverity(line += ' ', record.getSeverity());
    AppendNumber(line += " [", record.getTid());
    line.append("] [").append(function);
    AppendNumber(line += '@', record.getLine());
    return line.append("] ").append(text) += '\n';
}

}  // namespace Diagnostics
