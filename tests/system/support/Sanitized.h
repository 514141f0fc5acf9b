#pragma once

namespace SystemTest {

// Whether tests and Mux are built with a sanitizer. Its address space is terabytes wide, and a dump of it takes
// minutes.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

// The crash handlers log, run a command and collect a backtrace: in a process that is lost anyway they may call what
// a handler otherwise must not. And nothing is torn down when the process leaves, so threads that have ended by then
// are joined by nobody.
constexpr const char* kThreadSanitizerOptions = "report_signal_unsafe=0 report_thread_leaks=0";

}  // namespace SystemTest
