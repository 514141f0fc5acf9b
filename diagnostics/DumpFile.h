#pragma once

#include <string>

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

}  // namespace Diagnostics
