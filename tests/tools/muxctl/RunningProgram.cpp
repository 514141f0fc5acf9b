#include "tests/tools/muxctl/RunningProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "tests/support/ChildVariables.h"
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

// What the child does with itself between its birth and the program.
class Preparation {
  public:
    Preparation(int input, int output, int error) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO);
        // A connection of the test's own that lived on in the program would not be seen to close.
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        // What the test ignores the program would ignore too.
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~Preparation() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;

    const posix_spawn_file_actions_t* Actions() const { return &actions_; }
    const posix_spawnattr_t* Attributes() const { return &attributes_; }

  private:
    posix_spawn_file_actions_t actions_ = {};
    posix_spawnattr_t attributes_ = {};
};

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& command, const ProgramSetup& setup)
    : output_(setup.console) {
    const int input = OpenInput(setup.input);
    const int output = output_.WriteEnd(ChildOutput::Stream::kOutput);
    const bool isTerminal = setup.console == ChildOutput::Console::kTerminal;
    const int error = isTerminal ? output : output_.WriteEnd(ChildOutput::Stream::kError);
    const Preparation preparation(input, output, error);
    std::vector<std::string> words = command;
    std::vector<std::string> variables = Testing::VariablesWith(setup.variables);
    const int failure = posix_spawnp(&process_, words.front().c_str(), preparation.Actions(), preparation.Attributes(),
                                     Testing::PointersTo(words).data(), Testing::PointersTo(variables).data());
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), words.front());
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
