#pragma once

namespace Diagnostics {

// Loads what a backtrace needs, so that the crash handler has no library to load. Called once at start-up.
void PrepareBacktrace();

// Logs the call stack of the calling thread, at most 500 frames, one line a frame, at error level.
void LogBacktrace();

}  // namespace Diagnostics
