#include "diagnostics/ProcessEnd.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "diagnostics/Log.h"

#ifdef MUX_COVERAGE
extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): gcc's name
#endif
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace Diagnostics {
namespace {

constexpr int kFaultInsideEnding = 255;
constexpr int kCriticalErrorStatus = 1;
constexpr unsigned kSecondsToEndAfterError = 5;
constexpr int kNoStatus = -1;

std::atomic<long> endingThread{0};
std::atomic<int> endingStatus{kNoStatus};
std::atomic<unsigned> endingSeconds{0};
std::atomic<int> expectedStatus{kNoStatus};
std::atomic<int> exitStatus{0};
std::atomic<void (*)()> stopHook{nullptr};
std::atomic<void (*)()> flushHook{nullptr};

// Signal handlers use them, which must not wait for a lock.
static_assert(std::atomic<long>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<unsigned>::is_always_lock_free);

long CurrentThread() {
    return syscall(SYS_gettid);
}

extern "C" void LeaveByWatchdog(int) {
    const int status = endingStatus;
    _exit(status == kNoStatus ? expectedStatus.load() : status);
}

// The handler that leads here may block them. A fault whose signal is blocked would kill the process with that signal
// instead of our status.
void UnblockFaultsAndWatchdog() {
    sigset_t unblocked;
    sigemptyset(&unblocked);
    for (const int signalNumber : {SIGABRT, SIGBUS, SIGSEGV, SIGALRM}) {
        sigaddset(&unblocked, signalNumber);
    }
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
}

void StartWatchdog(unsigned seconds) {
    struct sigaction action = {};
    action.sa_handler = LeaveByWatchdog;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);

    alarm(seconds);
}

[[noreturn]] void WaitForTheEnd() {
    for (;;) {
        pause();
    }
}

}  // namespace

void BeginEnding(int status, unsigned secondsToFinish) {
    // A thread that was cancelled, perhaps by the ending itself, must neither drop its ending nor leave its wait.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    const long self = CurrentThread();
    long claimedBy = 0;
    if (!endingThread.compare_exchange_strong(claimedBy, self)) {
        if (claimedBy == self) {
            _exit(kFaultInsideEnding);
        }
        WaitForTheEnd();
    }
    endingStatus = status;
    endingSeconds = secondsToFinish;
    UnblockFaultsAndWatchdog();
    StartWatchdog(secondsToFinish);
}

void ExpectEnding(int status, unsigned secondsToBegin) {
    int none = kNoStatus;
    if (endingThread != 0 || !expectedStatus.compare_exchange_strong(none, status)) {
        return;
    }
    StartWatchdog(secondsToBegin);
    // There is one clock only. An ending that began meanwhile on another thread may have lost its time to this one.
    if (const unsigned secondsToFinish = endingSeconds) {
        alarm(secondsToFinish);
    }
}

bool IsEndingOnThisThread() {
    return endingThread == CurrentThread();
}

void FinishEnding([[maybe_unused]] RuntimeReports reports) {
    void (*const flush)() = flushHook;
    if (flush != nullptr && !LogCall::IsInProgressOnThisThread()) {
        flush();
    }
#ifdef MUX_COVERAGE
    __gcov_dump();
#endif
#ifdef __SANITIZE_ADDRESS__
    if (reports == RuntimeReports::kWrite) {
        __lsan_do_leak_check();
    }
#endif
    _exit(endingStatus);
}

int ExitStatus() {
    return exitStatus;
}

void SetStopHook(void (*stop)()) {
    stopHook = stop;
}

void SetFlushHook(void (*flush)()) {
    flushHook = flush;
}

void CriticalErrorThresholdReached() {
    MUX_OPERATION();
    exitStatus = kCriticalErrorStatus;
    BeginEnding(kCriticalErrorStatus, kSecondsToEndAfterError);
    MUX_LOG(plog::error) << "Exit for critical errors.";
    if (void (*const stop)() = stopHook) {
        stop();
    }
    FinishEnding(RuntimeReports::kWrite);
}

void ErrorThresholdReached() {
    MUX_OPERATION();
    BeginEnding(kCriticalErrorStatus, kSecondsToEndAfterError);
    MUX_LOG(plog::error) << "Exit for common errors.";
    FinishEnding(RuntimeReports::kWrite);
}

}  // namespace Diagnostics
