#pragma once

#include <string>

namespace Testing {

// Where the lines of a test come from: the running program, or the product's classes inside the test.
enum class LogOrigin { kProcess, kUnit };

// Whether RecordLog does anything.
bool IsLogRecorded();

// Adds log lines, in the form that the log file has, to process.log or unit.log in the folder that the environment
// variable MUX_LOG_RECORD names; does nothing without it. The check of the table of log lines (tests/log) reads them.
// Any thread; never throws.
void RecordLog(LogOrigin origin, const std::string& lines);

}  // namespace Testing
