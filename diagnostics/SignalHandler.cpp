#include "diagnostics/SignalHandler.h"

#include <chrono>
#include <csignal>

#include "diagnostics/Dump.h"
#include "diagnostics/Log.h"
#include "diagnostics/ProcessEnd.h"

namespace Diagnostics {
namespace {

constexpr int kHighestSignal = 11;
constexpr int kKilledStatus = 255;

// A dump of a small process takes seconds; a debugger that never ends must not keep the Mux down.
constexpr unsigned kSecondsToDump = 60;
constexpr unsigned kSecondsToClose = 5;

struct Ending {
    int signalNumber;
    plog::Severity severity;
    const char* text;
    int status;
    bool isCrash;
};

constexpr const char* kTermination = "Termination signal received. Closing Mux.";
constexpr const char* kKill = "Kill signal received. Terminating mux.";
constexpr const char* kCrash = "Received aborting or error signal. Try to save a dump file. Closing the Mux process.";

constexpr Ending kEndings[] = {
    {SIGQUIT, plog::info, kTermination, 0, false},         {SIGHUP, plog::warning, kKill, kKilledStatus, false},
    {SIGKILL, plog::warning, kKill, kKilledStatus, false}, {SIGABRT, plog::error, kCrash, kKilledStatus, true},
    {SIGBUS, plog::error, kCrash, kKilledStatus, true},    {SIGSEGV, plog::error, kCrash, kKilledStatus, true},
};

const Ending* FindEnding(int signalNumber) {
    for (const Ending& ending : kEndings) {
        if (ending.signalNumber == signalNumber) {
            return &ending;
        }
    }
    return nullptr;
}

[[noreturn]] void EndByCrash(const Ending& ending) {
    BeginEnding(ending.status, kSecondsToDump);
    StartDumpWatch(std::chrono::seconds(kSecondsToDump));
    // The thread that crashed inside the log holds its lock: no line can be written any more.
    if (LogCall::IsInProgressOnThisThread()) {
        RunDumpCommand();
        FinishEnding(RuntimeReports::kSkip);
    }
    MUX_LOG(ending.severity) << ending.text;
    SaveDumpFile();
    LogBacktrace();
    FinishEnding(RuntimeReports::kSkip);
}

}  // namespace

void SignalHandler(int signalNumber) {
    MUX_OPERATION();
    const Ending* ending = signalNumber > kHighestSignal ? nullptr : FindEnding(signalNumber);
    if (ending == nullptr) {
        return;
    }
    if (ending->isCrash) {
        EndByCrash(*ending);
    }
    if (IsEndingOnThisThread()) {
        return;
    }
    if (LogCall::Defer(signalNumber)) {
        // The thread may wait for a lock of the logger whose holder writes to a console that nobody reads.
        ExpectEnding(ending->status, kSecondsToClose);
        return;
    }
    BeginEnding(ending->status, kSecondsToClose);
    MUX_LOG(ending->severity) << ending->text;
    FinishEnding(RuntimeReports::kWrite);
}

}  // namespace Diagnostics
