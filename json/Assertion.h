#pragma once

namespace Json {

// Says on standard error which JSON assertion failed and aborts the process, which raises SIGABRT on the calling
// thread and so leads to the dump and backtrace of SignalHandler. Any thread may call it.
[[noreturn]] void FailedAssertion(const char* condition, const char* file, int line);

}  // namespace Json
