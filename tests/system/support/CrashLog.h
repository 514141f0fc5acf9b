#pragma once

#include <string>

#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxProcess.h"

namespace SystemTest {

// Records a failure unless the process logged a crash as it should, from the error line over the dump to the
// backtrace, and called the dump tool with the command that it logged.
void ExpectCrashLog(const MuxProcess& mux, const FakeDumpTool& tool);

// The name that the process gave its dump, empty when it made none.
std::string DumpNameOf(const MuxProcess& mux);

}  // namespace SystemTest
