#pragma once

namespace Diagnostics {

// The handler of every signal that ends the process, installed by the entry point; runs on the thread that
// received the signal and does not stop the others.
//
// SIGQUIT ends with status 0, SIGHUP and SIGKILL with 255, SIGABRT, SIGBUS and SIGSEGV with 255 after a core
// dump and a backtrace. Other signals are ignored. Without a logger, or below its severity, the process ends
// without the lines.
void SignalHandler(int signalNumber);

}  // namespace Diagnostics
