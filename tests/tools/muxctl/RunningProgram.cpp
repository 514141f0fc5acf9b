#include "tests/tools/muxctl/RunningProgram.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/MuxProcess.h"

namespace Muxctl {
namespace {

using SystemTest::ChildOutput;

// A file in memory with the input, to be read from its start.
int OpenInput(const std::string& text) {
    const int file = memfd_create("input", MFD_CLOEXEC);
    if (file == -1 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "input");
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

std::vector<char*> Pointers(std::vector<std::string>& words) {
    std::vector<char*> pointers(words.size() + 1);
    std::transform(words.begin(), words.end(), pointers.begin(), [](std::string& word) { return word.data(); });
    return pointers;
}

void UseAsStandardStreams(int input, int output, int error) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
}

// Signals that the test ignores would be ignored by the program too.
void ResetSignals() {
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& command, const ProgramSetup& setup)
    : output_(setup.console) {
    const int input = OpenInput(setup.input);
    const int output = output_.WriteEnd(ChildOutput::Stream::kOutput);
    const bool isTerminal = setup.console == ChildOutput::Console::kTerminal;
    const int error = isTerminal ? output : output_.WriteEnd(ChildOutput::Stream::kError);
    std::vector<std::string> words = command;
    const std::vector<char*> arguments = Pointers(words);
    process_ = fork();
    if (process_ == 0) {
        UseAsStandardStreams(input, output, error);
        ResetSignals();
        for (const auto& [name, value] : setup.variables) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
    close(input);
    output_.StartReading();
}

RunningProgram::~RunningProgram() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

bool RunningProgram::WaitForOutput(const std::string& text) const {
    return WaitFor(ChildOutput::Stream::kOutput, text);
}

bool RunningProgram::WaitForErrorOutput(const std::string& text) const {
    return WaitFor(ChildOutput::Stream::kError, text);
}

bool RunningProgram::WaitFor(ChildOutput::Stream stream, const std::string& text) const {
    const auto isThere = [&] { return output_.Text(stream).find(text) != std::string::npos; };
    Testing::WaitUntil([&] { return isThere() || output_.IsComplete(); }, SystemTest::kDeadline);
    return isThere();
}

int RunningProgram::WaitForExit() {
    int status = 0;
    const auto hasEnded = [&] { return waitpid(process_, &status, WNOHANG) == process_; };
    if (!Testing::WaitUntil(hasEnded, SystemTest::kDeadline)) {
        return -1;
    }
    process_ = -1;
    Testing::WaitUntil([&] { return output_.IsComplete(); }, SystemTest::kDeadline);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Ending RunToEnd(const std::vector<std::string>& command, const ProgramSetup& setup) {
    RunningProgram program(command, setup);
    const int status = program.WaitForExit();
    return {status, program.Output(), program.ErrorOutput()};
}

std::vector<std::string> MuxctlCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {MUXCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Ending RunMuxctl(const std::vector<std::string>& arguments, const ProgramSetup& setup) {
    return RunToEnd(MuxctlCommand(arguments), setup);
}

}  // namespace Muxctl
