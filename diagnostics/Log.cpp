#include "diagnostics/Log.h"

#include <pthread.h>

#include <csignal>
#include <new>

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

}  // namespace

LogLine::LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept {
    const char* const signature = LogOperation::SignatureOr(function);
    record_.reset(new (std::nothrow) plog::Record(severity, signature, line, "", nullptr, 0));
    *this << signature << ' ';
}

LogLine& LogLine::operator<<(const char* text) {
    if (record_ != nullptr) {
        *record_ << text;
    }
    return *this;
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
