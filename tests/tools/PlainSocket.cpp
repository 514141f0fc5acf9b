#include "tests/tools/PlainSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

PlainSocket::PlainSocket(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

PlainSocket::~PlainSocket() {
    Close();
}

void PlainSocket::Close() {
    if (socket_ >= 0) {
        close(socket_);
    }
    socket_ = -1;
    connected_ = false;
}

void PlainSocket::Send(const std::string& hex) {
    const std::vector<std::uint8_t> bytes = FromHexText(hex);
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    connected_ = connected_ && sent == static_cast<ssize_t>(bytes.size());
}

std::string PlainSocket::Receive(std::size_t count, std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    std::vector<std::uint8_t> received(count);
    std::size_t size = 0;
    while (size < count && WaitReadable(end)) {
        const ssize_t got = recv(socket_, received.data() + size, count - size, 0);
        if (got <= 0) {
            break;
        }
        size += static_cast<std::size_t>(got);
    }
    received.resize(size);
    return ToHexText(received);
}

PlainSocket::Ending PlainSocket::WaitForEnd(std::chrono::milliseconds deadline) {
    const Clock::time_point end = Clock::now() + deadline;
    std::array<std::uint8_t, 256> ignored = {};
    while (WaitReadable(end)) {
        const ssize_t got = recv(socket_, ignored.data(), ignored.size(), 0);
        if (got <= 0) {
            return got == 0 ? Ending::kClosed : Ending::kReset;
        }
    }
    return Ending::kNone;
}

bool PlainSocket::IsQuietFor(std::chrono::milliseconds duration) {
    return !WaitReadable(Clock::now() + duration);
}

bool PlainSocket::WaitReadable(Clock::time_point end) const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting = {socket_, POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(std::max<decltype(left)>(left, 0))) > 0;
}

std::vector<std::uint8_t> FromHexText(const std::string& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string ToHexText(const std::vector<std::uint8_t>& bytes) {
    static const std::string kDigits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += kDigits.at(byte >> 4U);
        text += kDigits.at(byte & 0x0FU);
    }
    return text;
}

}  // namespace Testing
