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

void LoopbackSocket::SendText(std::string_view text) const {
    while (!text.empty()) {
        const auto sent = Checked("send", [&] { return send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL); });
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

LoopbackSocket::Bytes LoopbackSocket::Receive(std::size_t count, std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    Bytes received;
    while (received.size() < count && WaitForInput(descriptor_, end)) {
        const Bytes chunk = ReceiveAvailable(std::min(kChunkBytes, count - received.size()));
        if (chunk.empty()) {
            break;
        }
        received.insert(received.end(), chunk.begin(), chunk.end());
    }
    return received;
}

LoopbackSocket::Bytes LoopbackSocket::ReceiveAvailable(std::size_t most) const {
    Bytes chunk(most);
    const auto count = Checked("recv", [&] {
        const ssize_t result = recv(descriptor_, chunk.data(), chunk.size(), MSG_DONTWAIT);
        return result == -1 && (errno == ECONNRESET || errno == EAGAIN) ? 0 : result;
    });
    chunk.resize(static_cast<std::size_t>(count));
    return chunk;
}

bool LoopbackSocket::IsQuietFor(std::chrono::milliseconds duration) const {
    return !WaitForInput(descriptor_, Clock::now() + duration);
}

LoopbackSocket::Ending LoopbackSocket::WaitForEnding(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    Bytes chunk(kChunkBytes);
    while (WaitForInput(descriptor_, end)) {
        constexpr ssize_t kIsReset = -2;
        const auto count = Checked("recv", [&] {
            const ssize_t result = recv(descriptor_, chunk.data(), chunk.size(), 0);
            return result == -1 && errno == ECONNRESET ? kIsReset : result;
        });
        if (count <= 0) {
            return count == 0 ? Ending::kClosed : Ending::kReset;
        }
    }
    return Ending::kNone;
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
