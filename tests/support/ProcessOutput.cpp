#include "tests/support/ProcessOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Testing {
namespace {

constexpr int kPauseMilliseconds = 10;
constexpr int kSmallPipe = 4096;

std::array<int, 2> OpenPipe() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) == -1) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return ends;
}

std::array<int, 2> OpenTerminal() {
    std::array<int, 2> ends = {};
    if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) == -1) {
        throw std::system_error(errno, std::generic_category(), "openpty");
    }
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return ends;
}

std::array<int, 2> OpenConsole(Console console) {
    switch (console) {
        case Console::kTerminal:
            return OpenTerminal();
        case Console::kPipe:
            return OpenPipe();
        default:
            return {-1, open("/dev/null", O_WRONLY | O_CLOEXEC)};
    }
}

void CloseIfOpen(int& descriptor) {
    if (descriptor != -1) {
        close(descriptor);
        descriptor = -1;
    }
}

}  // namespace

ProcessOutput::ProcessOutput(Console console) {
    const std::array<int, 2> output = OpenConsole(console);
    const std::array<int, 2> error = OpenPipe();
    const std::array<int, 2> stop = OpenPipe();
    pipes_ = {{{output[0], output[1], ""}, {error[0], error[1], ""}}};
    stopReadEnd_ = stop[0];
    stopWriteEnd_ = stop[1];
}

ProcessOutput::~ProcessOutput() {
    EndReading();
    CloseIfOpen(stopReadEnd_);
    for (Pipe& pipe : pipes_) {
        CloseIfOpen(pipe.readEnd);
        CloseIfOpen(pipe.writeEnd);
    }
}

void ProcessOutput::EndReading() {
    CloseIfOpen(stopWriteEnd_);
    if (reader_.joinable()) {
        reader_.join();
    }
}

void ProcessOutput::HangUp() {
    EndReading();
    CloseIfOpen(pipes_[0].readEnd);
    const std::lock_guard<std::mutex> lock(mutex_);
    complete_ = true;
}

int ProcessOutput::WriteEnd(Stream stream) const {
    return pipes_.at(static_cast<std::size_t>(stream)).writeEnd;
}

void ProcessOutput::StartReading() {
    for (Pipe& pipe : pipes_) {
        CloseIfOpen(pipe.writeEnd);
    }
    reader_ = std::thread([this] { Read(); });
}

void ProcessOutput::Read() {
    bool outputOpen = pipes_[0].readEnd != -1;
    bool errorOpen = true;
    while (outputOpen || errorOpen) {
        const bool isPaused = paused_;
        std::array<pollfd, 3> waiting = {{
            {outputOpen && !isPaused ? pipes_[0].readEnd : -1, POLLIN, 0},
            {errorOpen ? pipes_[1].readEnd : -1, POLLIN, 0},
            {stopReadEnd_, POLLIN, 0},
        }};
        if (poll(waiting.data(), waiting.size(), isPaused ? kPauseMilliseconds : -1) == -1 && errno != EINTR) {
            return;
        }
        if (waiting[2].revents != 0) {
            return;
        }
        outputOpen = outputOpen && (waiting[0].revents == 0 || paused_ || ReadFrom(pipes_[0]));
        errorOpen = errorOpen && (waiting[1].revents == 0 || ReadFrom(pipes_[1]));
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    complete_ = true;
}

// Returns false at the end.
bool ProcessOutput::ReadFrom(Pipe& pipe) {
    std::array<char, 65536> buffer = {};
    const ssize_t count = read(pipe.readEnd, buffer.data(), buffer.size());
    if (count > 0) {
        const std::lock_guard<std::mutex> lock(mutex_);
        pipe.text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count == -1 && errno == EINTR);
}

void ProcessOutput::StopReading() {
    paused_ = true;
    fcntl(pipes_[0].readEnd, F_SETPIPE_SZ, kSmallPipe);
}

std::string ProcessOutput::Text(Stream stream) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return pipes_.at(static_cast<std::size_t>(stream)).text;
}

bool ProcessOutput::IsComplete() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return complete_;
}

}  // namespace Testing
