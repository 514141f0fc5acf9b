#include "tests/support/TestClient.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kStartDeadline{60};
constexpr std::size_t kMostBytes = 64UL * 1024;

// The peer's kernel measures its send buffer by the size of our segments.
void UseSmallBuffers(LoopbackSocket& socket) {
    const int segmentSize = 536;
    setsockopt(socket.Descriptor(), IPPROTO_TCP, TCP_MAXSEG, &segmentSize, sizeof segmentSize);
    socket.UseSmallReceiveBuffer();
}

LoopbackSocket Connected(int port, TestClient::Buffers buffers) {
    LoopbackSocket socket(-1);
    const bool isConnected = WaitUntil(
        [&] {
            LoopbackSocket attempt;
            if (buffers == TestClient::Buffers::kSmall) {
                UseSmallBuffers(attempt);
            }
            try {
                attempt.ConnectTo(port);
            } catch (const std::system_error&) {
                return false;
            }
            socket = std::move(attempt);
            return true;
        },
        kStartDeadline);
    if (!isConnected) {
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    }
    return socket;
}

}  // namespace

LoopbackSocket::Bytes Packet(std::string_view text) {
    constexpr std::size_t kHeaderSize = 6;
    const std::size_t length = text.size() + kHeaderSize;
    if (length > 0xFFFF) {
        throw std::length_error("text too long for a packet");
    }
    LoopbackSocket::Bytes packet = {
        static_cast<unsigned char>(length & 0xFFU), static_cast<unsigned char>(length >> 8U), 'M', 'U', 'X', 'M'};
    packet.insert(packet.end(), text.begin(), text.end());
    return packet;
}

TestClient::TestClient(int port, Buffers buffers) : socket_(Connected(port, buffers)) {}

std::string TestClient::Receive(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    for (;;) {
        if (const auto text = cutter_.Next()) {
            return *text;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (socket_.IsQuietFor(std::max(left, std::chrono::milliseconds(0)))) {
            return "(nothing)";
        }
        const LoopbackSocket::Bytes received = socket_.ReceiveAvailable(kMostBytes);
        if (received.empty()) {
            return "(closed)";
        }
        Cut(received);
    }
}

void TestClient::ReceiveSome(std::size_t bytes) {
    Cut(socket_.ReceiveAvailable(bytes));
}

void TestClient::Cut(const LoopbackSocket::Bytes& received) {
    cutter_.Add({reinterpret_cast<const char*>(received.data()), received.size()});
}

}  // namespace Testing
