#pragma once

namespace Diagnostics {

// How the process ends, and who decides it.
//
// A signal, a critical error and the end of main may come at the same time on different threads. The first that
// calls BeginEnding decides the exit status; every other thread that comes later waits there for the end. The
// process leaves with _exit, so nothing that other threads still use is destroyed under them.

// What a process that ends checks and writes in instrumented builds; nothing in a release.
enum class RuntimeReports {
    kWrite,  // the leak check of a sanitizer build and the counters of a coverage build
    kSkip,   // the counters only: after a crash the heap cannot be trusted
};

// Claims the end of the process with this exit status. Returns on the first thread that calls it and on no other.
// A claim by the thread that already holds it is a fault inside an ending: the process leaves with 255 at once.
// From here on a watchdog ends the process with the same status after `secondsToFinish`, should a lock held
// by an interrupted thread keep the ending from getting through. The calling thread can't be cancelled any more.
// Async-signal-safe.
void BeginEnding(int status, unsigned secondsToFinish);

// For an ending that will begin on this thread as soon as what the thread does now is done, which may be never: unless
// some ending has begun `secondsToBegin` later, a watchdog ends the process with this status. Claims nothing: an
// ending that begins, here or on another thread, brings its own status and time. After the first call, or once an
// ending has begun, it does nothing. Async-signal-safe.
void ExpectEnding(int status, unsigned secondsToBegin);

// Whether the calling thread is the one that ends the process. Async-signal-safe.
bool IsEndingOnThisThread();

// Leaves with the status that BeginEnding claimed, which must have been called on this thread. What was logged before
// gets the time of the flush hook to arrive, unless the thread is inside the logger.
[[noreturn]] void FinishEnding(RuntimeReports reports);

// The exit status that main returns: 0 unless a critical error has set it.
int ExitStatus();

// Sets what stops the Mux when a critical error ends the process; null for nothing. Called once at start-up.
void SetStopHook(void (*stop)());

// Sets what waits for log lines that are still on their way when the process leaves; null for nothing. Called once at
// start-up.
void SetFlushHook(void (*flush)());

// Handlers of the error guard. The first logs, stops the Mux through the hook and ends with status 1; the
// second ends with status 1, though no report calls it.
[[noreturn]] void CriticalErrorThresholdReached();
[[noreturn]] void ErrorThresholdReached();

}  // namespace Diagnostics
