#pragma once

#include <plog/Severity.h>

#include <string>

namespace Diagnostics {

// The log file that is used when none is named.
constexpr const char* kDefaultLogFile = "./smartlock_mux.log";

// Sets up logger 0 (a rolling file and the console, both as plog's text format) and the error guard. Called once, by
// main, before any other thread exists; logger and appenders live until the process ends.
//
// `maximumSeverity` is the last severity that is logged. `logFile` may be empty for the default; one that cannot be
// opened costs a warning on the console and nothing else, and only a regular file rolls. `colors` colours the console
// when it is a terminal.
void InitDiagnostics(plog::Severity maximumSeverity, const std::string& logFile, bool colors);

}  // namespace Diagnostics
