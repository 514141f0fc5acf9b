#include "tests/support/LoopbackSocket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kChunkBytes = 64UL * 1024;

template <typename Call>
auto Checked(const char* name, Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return result;
}

sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool WaitForInput(int descriptor, Clock::time_point end) {
    pollfd waited = {descriptor, POLLIN, 0};
    const auto ready = Checked("poll", [&] {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        return poll(&waited, 1, left > 0 ? static_cast<int>(left) : 0);
    });
    return ready == 1;
}

}  // namespace

LoopbackSocket::LoopbackSocket()
    : descriptor_(Checked("socket", [] { return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); })) {}

LoopbackSocket::LoopbackSocket(int descriptor) : descriptor_(descriptor) {}

LoopbackSocket LoopbackSocket::Listening(int backlog) {
    LoopbackSocket listener;
    const sockaddr_in address = LoopbackAddress(0);
    Checked("bind",
            [&] { return bind(listener.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address); });
    Checked("listen", [&] { return listen(listener.descriptor_, backlog); });
    return listener;
}

LoopbackSocket LoopbackSocket::ConnectedTo(int port) {
    LoopbackSocket connected;
    connected.ConnectTo(port);
    return connected;
}

LoopbackSocket::LoopbackSocket(LoopbackSocket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

LoopbackSocket& LoopbackSocket::operator=(LoopbackSocket&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

LoopbackSocket::~LoopbackSocket() {
    Close();
}

void LoopbackSocket::ConnectTo(int port) {
    const sockaddr_in address = LoopbackAddress(port);
    Checked("connect", [&] {
        const int result = connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        // The attempt goes on when a signal interrupts the call; asking again then says that it has succeeded.
        return result == -1 && errno == EISCONN ? 0 : result;
    });
}

LoopbackSocket LoopbackSocket::Accept(std::chrono::milliseconds deadline) {
    if (!WaitForInput(descriptor_, Clock::now() + deadline)) {
        throw std::system_error(ETIMEDOUT, std::generic_category(), "accept");
    }
    return LoopbackSocket(Checked("accept", [this] { return accept(descriptor_, nullptr, nullptr); }));
}

void LoopbackSocket::UseSmallReceiveBuffer() {
    const int least = 1;
    Checked("setsockopt", [&] { return setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &least, sizeof least); });
}

int LoopbackSocket::Port() const {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    Checked("getsockname", [&] { return getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size); });
    return ntohs(address.sin_port);
}

int LoopbackSocket::Descriptor() const {
    return descriptor_;
}

void LoopbackSocket::Send(const Bytes& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        sent += static_cast<std::size_t>(
            Checked("send", [&] { return send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL); }));
    }
}

std::size_t LoopbackSocket::ReceiveOnce(Bytes& chunk, Clock::time_point end) {
    if (!WaitForInput(descriptor_, end)) {
        return 0;
    }
    return static_cast<std::size_t>(Checked("recv", [&] {
        const ssize_t count = recv(descriptor_, chunk.data(), chunk.size(), 0);
        return count == -1 && errno == ECONNRESET ? 0 : count;
    }));
}

LoopbackSocket::Bytes LoopbackSocket::Receive(std::size_t count, std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    Bytes received;
    while (received.size() < count) {
        Bytes chunk(std::min(kChunkBytes, count - received.size()));
        const std::size_t size = ReceiveOnce(chunk, end);
        if (size == 0) {
            break;
        }
        received.insert(received.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(size));
    }
    return received;
}

bool LoopbackSocket::WaitForEnd(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    Bytes chunk(kChunkBytes);
    while (ReceiveOnce(chunk, end) != 0) {
    }
    return Clock::now() < end;
}

void LoopbackSocket::ShutDownSending() {
    Checked("shutdown", [this] { return shutdown(descriptor_, SHUT_WR); });
}

void LoopbackSocket::Close() {
    if (descriptor_ != -1) {
        close(std::exchange(descriptor_, -1));
    }
}

void LoopbackSocket::Reset() {
    const linger atOnce = {1, 0};
    Checked("setsockopt", [&] { return setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce); });
    Close();
}

}  // namespace Testing
