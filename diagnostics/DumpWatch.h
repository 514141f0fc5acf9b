#pragma once

#include <chrono>

namespace Diagnostics {

// Bounds how long a debugger may hold this process: a small process of its own waits for `limit` and then kills
// whoever traces us, again and again until we have left.
//
// A debugger stops every thread, and with them the watchdog of the ending: its signal arrives only when the debugger
// has let go. One that hangs would keep the process for ever.
//
// Called by the crash handler, before the dump, on the thread that ends the process; the other process leaves together
// with that thread. Async-signal-safe. Without room for another process there is no bound.
void StartDumpWatch(std::chrono::seconds limit);

}  // namespace Diagnostics
