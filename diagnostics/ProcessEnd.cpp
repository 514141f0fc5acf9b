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

std::atomic<long> endingThread{0};
std::atomic<int> endingStatus{0};
std::atomic<int> exitStatus{0};
std::atomic<void (*)()> stopHook{nullptr};

long CurrentThread() {
    return syscall(SYS_gettid);
}

extern "C" void LeaveByWatchdog(int) {
    _exit(endingStatus);
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
    UnblockFaultsAndWatchdog();
    StartWatchdog(secondsToFinish);
}

bool IsEndingOnThisThread() {
    return endingThread == CurrentThread();
}

void FinishEnding([[maybe_unused]] RuntimeReports reports) {
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

void CriticalErrorThresholdReached() {
    exitStatus = kCriticalErrorStatus;
    BeginEnding(kCriticalErrorStatus, kSecondsToEndAfterError);
    MUX_LOG(plog::error) << "Exit for critical errors.";
    if (void (*const stop)() = stopHook) {
        stop();
    }
    FinishEnding(RuntimeReports::kWrite);
}

void ErrorThresholdReached() {
    BeginEnding(kCriticalErrorStatus, kSecondsToEndAfterError);
    MUX_LOG(plog::error) << "Exit for common errors.";
    FinishEnding(RuntimeReports::kWrite);
}

}  // namespace Diagnostics
