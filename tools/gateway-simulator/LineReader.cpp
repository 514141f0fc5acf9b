#include "tools/gateway-simulator/LineReader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

namespace Simulator {
namespace {

// How soon it is noticed that this process is in the foreground again.
constexpr int kBackgroundMilliseconds = 200;

int CreateWake() {
    const int wake = eventfd(0, EFD_CLOEXEC);
    if (wake < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return wake;
}

// A job that reads from its terminal in the background is stopped, and what is typed then is for another.
bool MayRead(int descriptor) {
    const pid_t foreground = tcgetpgrp(descriptor);
    return foreground < 0 || foreground == getpgrp();
}

}  // namespace

LineReader::LineReader(int descriptor, std::function<void(const std::string& line)> line)
    : descriptor_(descriptor), wake_(CreateWake()), line_(std::move(line)), thread_([this] { Read(); }) {}

LineReader::~LineReader() {
    eventfd_write(wake_, 1);
    thread_.join();
    close(wake_);
}

void LineReader::Read() {
    std::array<char, 4096> input = {};
    while (WaitForInput()) {
        const ssize_t count = read(descriptor_, input.data(), input.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (count <= 0) {
            Split(true);
            return;
        }
        pending_.append(input.data(), static_cast<std::size_t>(count));
        Split(false);
    }
}

// False when the reader is to stop.
bool LineReader::WaitForInput() const {
    std::array<pollfd, 2> waiting = {{{descriptor_, POLLIN, 0}, {wake_, POLLIN, 0}}};
    do {
        const bool isOurs = MayRead(descriptor_);
        // What has no descriptor is not looked at.
        waiting.at(0) = {isOurs ? descriptor_ : -1, POLLIN, 0};
        if (poll(waiting.data(), waiting.size(), isOurs ? -1 : kBackgroundMilliseconds) < 0 && errno != EINTR) {
            return false;
        }
        // It may have gone to the background in the meantime.
    } while (waiting.at(1).revents == 0 && (waiting.at(0).revents == 0 || !MayRead(descriptor_)));
    return waiting.at(1).revents == 0;
}

void LineReader::Split(bool isEnd) {
    for (std::size_t end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n')) {
        line_(pending_.substr(0, end));
        pending_.erase(0, end + 1);
    }
    if (isEnd && !pending_.empty()) {
        line_(std::exchange(pending_, {}));
    }
}

}  // namespace Simulator
