#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/system/support/ChildOutput.h"

namespace Muxctl {

struct ProgramSetup {
    // On top of the test's variables, or in place of them.
    std::vector<std::pair<std::string, std::string>> variables = {};
    // What stands on standard input.
    std::string input = {};
    // On a terminal standard output and standard error are the same.
    SystemTest::ChildOutput::Console console = SystemTest::ChildOutput::Console::kPipe;
};

// A program under test with its standard streams in our hands. Killed when it is still there at the end.
//
// For one thread.
class RunningProgram {
  public:
    // The first word is the program, looked for as a shell would.
    explicit RunningProgram(const std::vector<std::string>& command, const ProgramSetup& setup = {});
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    // What was written so far.
    std::string Output() const { return output_.Text(SystemTest::ChildOutput::Stream::kOutput); }
    std::string ErrorOutput() const { return output_.Text(SystemTest::ChildOutput::Stream::kError); }
    // Wait until `text` is there; false when the deadline or the program's end comes first.
    bool WaitForOutput(const std::string& text) const;
    bool WaitForErrorOutput(const std::string& text) const;

    // Waits for the end; the exit status, or -1 when a signal ended it or it does not end.
    int WaitForExit();

  private:
    bool WaitFor(SystemTest::ChildOutput::Stream stream, const std::string& text) const;

    SystemTest::ChildOutput output_;
    pid_t process_ = -1;
};

// What a program that has come to its end left behind.
struct Ending {
    int status = -1;
    std::string output;
    std::string error;
};

// Runs a program to its end.
Ending RunToEnd(const std::vector<std::string>& command, const ProgramSetup& setup = {});

// The same for muxctl with these arguments.
std::vector<std::string> MuxctlCommand(const std::vector<std::string>& arguments);
Ending RunMuxctl(const std::vector<std::string>& arguments, const ProgramSetup& setup = {});

}  // namespace Muxctl
