#include "diagnostics/Log.h"

#include <pthread.h>

#include <array>
#include <charconv>
#include <csignal>
#include <limits>
#include <new>
#include <sstream>

namespace Diagnostics {
namespace {

thread_local volatile std::sig_atomic_t linesInProgress = 0;
thread_local volatile std::sig_atomic_t deferredSignal = 0;

void RaiseDeferredSignal() {
    const int signalNumber = deferredSignal;
    if (signalNumber != 0) {
        deferredSignal = 0;
        pthread_kill(pthread_self(), signalNumber);
    }
}

template <typename Number>
using Digits = std::array<char, std::numeric_limits<Number>::digits10 + 2>;

template <typename Number>
std::string_view TextOf(Number number, Digits<Number>& digits) {
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

}  // namespace

LogLine::LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept : record_(TakeRecord()) {
    const char* const signature = LogOperation::SignatureOr(function);
    if (record_ != nullptr) {
        record_->Begin(severity, signature, line);
    }
    Add(signature);
    Add(" ");
}

LogLine& LogLine::operator<<(const char* text) {
    Add(text != nullptr ? text : "(null)");
    return *this;
}

LogLine& LogLine::operator<<(std::string_view text) {
    Add(text.substr(0, text.find('\0')));
    return *this;
}

LogLine& LogLine::operator<<(char character) {
    Add({&character, character != '\0' ? std::size_t{1} : 0});
    return *this;
}

LogLine& LogLine::AddNumber(long long number) {
    Digits<long long> digits;
    Add(TextOf(number, digits));
    return *this;
}

LogLine& LogLine::AddNumber(unsigned long long number) {
    Digits<unsigned long long> digits;
    Add(TextOf(number, digits));
    return *this;
}

LogLine& LogLine::AddStreamed(const std::function<void(std::ostream& text)>& write) {
    if (record_ == nullptr) {
        return *this;
    }
    try {
        std::ostringstream text;
        text.exceptions(std::ios::badbit);
        write(text);
        return *this << text.str();
    } catch (const std::bad_alloc&) {
        record_.reset();
    }
    return *this;
}

void LogLine::Add(std::string_view text) noexcept {
    if (record_ == nullptr) {
        return;
    }
    try {
        record_->Text() += text;
    } catch (const std::bad_alloc&) {
        record_.reset();
    }
}

LogCall::LogCall() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previousCancelState_);
    linesInProgress = linesInProgress + 1;
}

LogCall::~LogCall() {
    linesInProgress = linesInProgress - 1;
    if (linesInProgress == 0) {
        RaiseDeferredSignal();
    }
    pthread_setcancelstate(previousCancelState_, nullptr);
}

void LogCall::operator+=(const LogLine& line) const {
    if (line.Record() == nullptr) {
        return;
    }
    try {
        *plog::get() += *line.Record();
    } catch (const std::bad_alloc&) {
    }
}

bool LogCall::IsInProgressOnThisThread() {
    return linesInProgress != 0;
}

bool LogCall::Defer(int signalNumber) {
    if (!IsInProgressOnThisThread()) {
        return false;
    }
    if (deferredSignal == 0) {
        deferredSignal = signalNumber;
    }
    return true;
}

}  // namespace Diagnostics
