#include "tests/tools/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

std::array<int, 2> CreatePipe() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return ends;
}

std::set<int> NumbersIn(std::uint64_t mask) {
    std::set<int> numbers;
    for (int bit = 0; bit < 64; ++bit) {
        if ((mask >> bit & 1U) != 0) {
            numbers.insert(bit + 1);
        }
    }
    return numbers;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
    const std::array<int, 2> input = CreatePipe();
    const std::array<int, 2> output = CreatePipe();
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_adddup2(&streams, input.at(0), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&streams, output.at(1), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, output.at(1), STDERR_FILENO);
    std::vector<std::string> words = command;
    // Ends in the null that the call demands.
    std::vector<char*> arguments(words.size() + 1);
    std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });
    const int error = posix_spawn(&process_, arguments.front(), &streams, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&streams);
    close(input.at(0));
    close(output.at(1));
    input_ = input.at(1);
    outputEnd_ = output.at(0);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "posix_spawn");
    }
}

ChildProcess::~ChildProcess() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    CloseInput();
    close(outputEnd_);
}

void ChildProcess::Write(const std::string& text) const {
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
}

void ChildProcess::CloseInput() {
    if (input_ >= 0) {
        close(input_);
    }
    input_ = -1;
}

bool ChildProcess::WaitForOutput(const std::string& text, std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    while (output_.find(text) == std::string::npos) {
        if (!ReadOutput(end)) {
            return false;
        }
    }
    return true;
}

std::string ChildProcess::WaitForLineWith(const std::string& text, std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    for (;;) {
        const std::size_t found = output_.find(text);
        const std::size_t start = found == std::string::npos ? output_.size() : found + text.size();
        const std::size_t lineEnd = output_.find('\n', start);
        if (lineEnd != std::string::npos) {
            return output_.substr(start, lineEnd - start);
        }
        if (!ReadOutput(end)) {
            return "";
        }
    }
}

void ChildProcess::Signal(int number) const {
    kill(process_, number);
}

std::vector<std::set<int>> ChildProcess::BlockedSignals() const {
    std::vector<std::set<int>> threads;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process_) + "/task")) {
        std::ifstream status(thread.path() / "status");
        std::string word;
        while (status >> word && word != "SigBlk:") {
        }
        std::uint64_t mask = 0;
        status >> std::hex >> mask;
        threads.push_back(NumbersIn(mask));
    }
    return threads;
}

int ChildProcess::WaitForExit(std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    while (ReadOutput(end)) {
    }
    if (Clock::now() >= end) {
        return -1;
    }
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// False at the end of the output and at the deadline.
bool ChildProcess::ReadOutput(Clock::time_point end) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting = {outputEnd_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(std::max<decltype(left)>(left, 0))) <= 0) {
        return false;
    }
    std::array<char, 4096> buffer = {};
    const ssize_t count = read(outputEnd_, buffer.data(), buffer.size());
    if (count > 0) {
        output_.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

}  // namespace Testing
