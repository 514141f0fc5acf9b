#include "tests/tools/PseudoTerminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>

#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<char*> Pointers(std::vector<std::string>& words) {
    // Ends in the null that the call demands.
    std::vector<char*> pointers(words.size() + 1);
    std::transform(words.begin(), words.end(), pointers.begin(), [](std::string& word) { return word.data(); });
    return pointers;
}

}  // namespace

PseudoTerminal::PseudoTerminal(const std::vector<std::string>& command, const std::string& kind) {
    std::vector<std::string> words = command;
    std::vector<std::string> variables = {"TERM=" + kind, "LC_ALL=C.UTF-8", "PATH=/usr/bin:/bin"};
    const std::vector<char*> arguments = Pointers(words);
    const std::vector<char*> environment = Pointers(variables);
    const winsize window = {kRows, kColumns, 0, 0};
    process_ = forkpty(&terminal_, nullptr, nullptr, &window);
    if (process_ == 0) {
        execve(arguments.front(), arguments.data(), environment.data());
        _exit(127);
    }
    if (process_ < 0) {
        throw std::system_error(errno, std::generic_category(), "forkpty");
    }
}

PseudoTerminal::~PseudoTerminal() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    HangUp();
}

void PseudoTerminal::Type(const std::string& text) const {
    if (write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
}

bool PseudoTerminal::WaitFor(const std::string& text, std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    std::size_t found = output_.find(text, seen_);
    while (found == std::string::npos && ReadOutput(end)) {
        found = output_.find(text, seen_);
    }
    seen_ = found == std::string::npos ? seen_ : found + text.size();
    return found != std::string::npos;
}

void PseudoTerminal::Resize(unsigned short rows, unsigned short columns) const {
    const winsize window = {rows, columns, 0, 0};
    ioctl(terminal_, TIOCSWINSZ, &window);
}

bool PseudoTerminal::IsInLineMode() const {
    termios modes = {};
    return tcgetattr(terminal_, &modes) == 0 && (modes.c_lflag & ICANON) != 0 && (modes.c_lflag & ECHO) != 0;
}

bool PseudoTerminal::IsNonBlocking() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/fdinfo/0");
    std::string word;
    while (file >> word && word != "flags:") {
    }
    unsigned int flags = O_NONBLOCK;
    file >> std::oct >> flags;
    return (flags & O_NONBLOCK) != 0;
}

void PseudoTerminal::HangUp() {
    if (terminal_ >= 0) {
        close(terminal_);
    }
    terminal_ = -1;
}

void PseudoTerminal::Signal(int number) const {
    kill(process_, number);
}

void PseudoTerminal::SignalUntilItEnds(int number, std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    while (process_ > 0 && Clock::now() < end) {
        Signal(number);
        // The program waits when nobody reads what it writes.
        ReadOutput(Clock::now());
        process_ = waitpid(process_, nullptr, WNOHANG) == 0 ? process_ : -1;
    }
    while (ReadOutput(end)) {
    }
}

int PseudoTerminal::WaitForExit(std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    while (terminal_ >= 0 && ReadOutput(end)) {
    }
    int status = 0;
    const bool ended = WaitUntil([&] { return waitpid(process_, &status, WNOHANG) == process_; }, deadline);
    process_ = ended ? -1 : process_;
    return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// False when the program has ended and at the deadline.
bool PseudoTerminal::ReadOutput(Clock::time_point end) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting = {terminal_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(std::max<decltype(left)>(left, 0))) <= 0) {
        return false;
    }
    std::array<char, 4096> buffer = {};
    const ssize_t count = read(terminal_, buffer.data(), buffer.size());
    if (count > 0) {
        output_.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

}  // namespace Testing
