#pragma once

#include <chrono>
#include <string>

// What a crash leaves: a core dump of the process and the call stack of the thread.
namespace Diagnostics {

// Names the dumps of this run after the program (the base name of `programPath`) and a UUID of its own, so that the
// dumps of different runs never overwrite each other. Called once at start-up; without it dumps are named "mux".
void SetDumpName(const std::string& programPath);

// "gcore -o <dump name>.dump <process ID>"; gcore adds the process ID to the file's name.
std::string DumpCommand();

// Logs the command and runs it: a core dump of the running process in its working directory, provided that gcore
// is installed. Called by the crash handler.
void SaveDumpFile();

// Runs the command without a line, for a thread that cannot log.
void RunDumpCommand();

// Limits how long a debugger may hold this process: a helper process waits for `limit`, then kills every tracer until
// this process has exited.
//
// A debugger stops every thread including the watchdog of the ending, whose signal arrives only when the debugger
// detaches. A hanging debugger would keep the process forever.
//
// Called by the crash handler, before the dump, on the thread that ends the process; the helper exits with that thread.
// Async-signal-safe. Without room for a process there is no limit.
void StartDumpWatch(std::chrono::seconds limit);

// Loads what a backtrace needs, so that the crash handler has no library to load. Called once at start-up.
void PrepareBacktrace();

// Logs the call stack of the calling thread, at most 500 frames, one line a frame, at error level.
void LogBacktrace();

}  // namespace Diagnostics
