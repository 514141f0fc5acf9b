#include "tools/muxctl/ParseInChildProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "mux/configuration/MuxConfigurationParser.h"

namespace Muxctl {
namespace {

constexpr int kParsed = 0;
constexpr int kNotJson = 1;
constexpr int kAborted = 2;

// Before the system would take a core dump.
extern "C" void LeaveInsteadOfAborting(int) {
    _exit(kAborted);
}

void DropErrorOutput() {
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing != -1) {
        dup2(nothing, STDERR_FILENO);
    }
}

[[noreturn]] void Parse(const std::string& text) {
    static_cast<void>(std::signal(SIGABRT, LeaveInsteadOfAborting));
    DropErrorOutput();
    Mux::Configuration::MuxConfigurationData configuration;
    const bool parsed = Mux::Configuration::MuxConfigurationParser().ParseText(text, configuration);
    _exit(parsed ? kParsed : kNotJson);
}

int WaitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return status;
}

}  // namespace

ParserOutcome ParseInChildProcess(const std::string& text) {
    const pid_t child = fork();
    if (child == -1) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        Parse(text);
    }
    const int status = WaitFor(child);
    if (!WIFEXITED(status) || WEXITSTATUS(status) == kAborted) {
        return ParserOutcome::kEndsProcess;
    }
    return WEXITSTATUS(status) == kParsed ? ParserOutcome::kParsed : ParserOutcome::kNotJson;
}

}  // namespace Muxctl
