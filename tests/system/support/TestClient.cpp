#include "tests/system/support/TestClient.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/Traffic.h"

namespace SystemTest {
namespace {

// The peer's kernel measures its send buffer by the size of our segments.
void UseSmallBuffers(int descriptor) {
    const int bufferSize = 1;  // the kernel takes its smallest instead
    const int segmentSize = 536;
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    setsockopt(descriptor, IPPROTO_TCP, TCP_MAXSEG, &segmentSize, sizeof segmentSize);
}

// Returns -1 when nobody listens.
int TryToConnect(std::uint16_t port, TestClient::Buffers buffers) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (buffers == TestClient::Buffers::kSmall) {
        UseSmallBuffers(descriptor);
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    close(descriptor);
    return -1;
}

std::chrono::milliseconds TimeUntil(std::chrono::steady_clock::time_point end) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return std::max(rest, std::chrono::milliseconds(0));
}

bool IsReadable(int descriptor, std::chrono::milliseconds timeout) {
    pollfd waiting = {descriptor, POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(timeout.count())) > 0;
}

}  // namespace

std::string Packet(std::string_view text) {
    constexpr std::size_t kHeaderSize = 6;
    const std::size_t length = text.size() + kHeaderSize;
    if (length > 0xFFFF) {
        throw std::length_error("text too long for a packet");
    }
    std::string packet = {static_cast<char>(length & 0xFFU), static_cast<char>(length >> 8U)};
    packet += "MUXM";
    packet += text;
    return packet;
}

TestClient::TestClient(std::uint16_t port, Buffers buffers) {
    const auto connected = [&] {
        socket_ = TryToConnect(port, buffers);
        return socket_ != -1;
    };
    if (!Testing::WaitUntil(connected, kDeadline)) {
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    }
}

TestClient::~TestClient() {
    Close();
}

TestClient::TestClient(TestClient&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), cutter_(std::move(other.cutter_)) {}

void TestClient::SendRaw(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent == -1) {
            throw std::system_error(errno, std::generic_category(), "send to the Mux");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string TestClient::Receive(std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    for (;;) {
        if (const auto text = cutter_.Next()) {
            ExpectAnswerOrEvent(*text);
            return *text;
        }
        if (!IsReadable(socket_, TimeUntil(end))) {
            return "(nothing)";
        }
        std::array<char, 65536> buffer = {};
        const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            return "(closed)";
        }
        cutter_.Add({buffer.data(), static_cast<std::size_t>(count)});
    }
}

void TestClient::ReceiveSome(std::size_t bytes) {
    std::string buffer(bytes, '\0');
    const ssize_t count = recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count > 0) {
        cutter_.Add({buffer.data(), static_cast<std::size_t>(count)});
    }
}

void TestClient::Close() {
    if (socket_ != -1) {
        close(socket_);
        socket_ = -1;
    }
}

}  // namespace SystemTest
