#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <system_error>

#include "tests/support/RecordedLog.h"

#ifdef MUX_COVERAGE
extern "C" void __gcov_dump();
#endif

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

// The two ends of what the child prints to.
struct OutputEnds {
    int parent = -1;
    int child = -1;
};

int Checked(const char* name, int result) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return result;
}

OutputEnds OpenPipe() {
    std::array<int, 2> ends{};
    Checked("pipe", pipe2(ends.data(), O_CLOEXEC));
    return {ends[0], ends[1]};
}

OutputEnds OpenTerminal() {
    const int parent = Checked("posix_openpt", posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    Checked("grantpt", grantpt(parent));
    Checked("unlockpt", unlockpt(parent));
    std::array<char, 128> name{};
    ptsname_r(parent, name.data(), name.size());
    return {parent, Checked("open", open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC))};
}

[[noreturn]] void RunChild(int output, const std::filesystem::path& directory, const std::function<void()>& body) {
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    std::filesystem::current_path(directory);
    body();
    std::fflush(nullptr);
#ifdef MUX_COVERAGE
    __gcov_dump();
#endif
    _exit(kBodyReturned);
}

// Reads until the child and all that it started have closed the output; false at the deadline.
bool ReadToEnd(int descriptor, Clock::time_point end, std::string& output) {
    std::array<char, 4096> chunk{};
    while (Clock::now() < end) {
        pollfd waited = {descriptor, POLLIN, 0};
        if (poll(&waited, 1, 100) != 1) {
            continue;
        }
        // A terminal that nobody holds open any more gives an error and not an end of file.
        const ssize_t count = read(descriptor, chunk.data(), chunk.size());
        if (count < 1) {
            return true;
        }
        output.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return false;
}

}  // namespace

std::vector<std::string> ChildResult::OutputLines() const {
    std::vector<std::string> lines;
    std::istringstream text(output);
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool ChildResult::HasInOrder(const std::vector<std::string>& texts) const {
    std::size_t position = 0;
    for (const std::string& text : texts) {
        position = output.find(text, position);
        if (position == std::string::npos) {
            return false;
        }
        position += text.size();
    }
    return true;
}

ChildResult RunInChild(const std::filesystem::path& directory, const std::function<void()>& body, ChildOutput output,
                       std::chrono::milliseconds deadline) {
    const OutputEnds ends = output == ChildOutput::kTerminal ? OpenTerminal() : OpenPipe();
    std::fflush(nullptr);
    const pid_t child = Checked("fork", fork());
    if (child == 0) {
        RunChild(ends.child, directory, body);
    }
    close(ends.child);
    ChildResult result;
    if (!ReadToEnd(ends.parent, Clock::now() + deadline, result.output)) {
        kill(child, SIGKILL);
    }
    close(ends.parent);
    RecordLog(LogOrigin::kUnit, result.output);
    int status = 0;
    Checked("waitpid", waitpid(child, &status, 0));
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace Testing
