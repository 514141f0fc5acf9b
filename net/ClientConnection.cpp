#include "net/ClientConnection.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "net/SocketWait.h"

namespace Brenk::Net {
namespace {

constexpr std::size_t kChunkBytes = 1024;
constexpr timeval kReceiveTimeout = {0, 150};

// In milliseconds. The kernel sends no keep-alive probes while anything is unacknowledged: without a time-out of its
// own, a client that vanishes under an answer would stay until the retransmissions end, a quarter of an hour later.
// 110 s are what the idle time and the probes take together, so that a dead client is noticed after the same time
// either way.
constexpr int kUserTimeout = 110000;

// The time-out also runs while the peer acknowledges again and again that its receive window is closed: one that reads
// slowly would be ended like one that has vanished. It is switched off for a peer that acknowledges. Probes of a closed
// window are at most 2 minutes apart.
constexpr unsigned kAcknowledgedWithin = 130000;

struct IntegerOption {
    int level;
    int option;
    int value;
};

constexpr IntegerOption kOptions[] = {
    {IPPROTO_TCP, TCP_NODELAY, 1}, {SOL_SOCKET, SO_KEEPALIVE, 1},    {IPPROTO_TCP, TCP_KEEPIDLE, 60},
    {IPPROTO_TCP, TCP_KEEPCNT, 5}, {IPPROTO_TCP, TCP_KEEPINTVL, 10}, {IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeout},
};

void SetOptions(int descriptor) {
    for (const IntegerOption& option : kOptions) {
        setsockopt(descriptor, option.level, option.option, &option.value, sizeof option.value);
    }
}

}  // namespace

ClientConnection::ClientConnection(int descriptor, std::uint64_t serial, OutputBudget& budget)
    : serial_(serial), output_(descriptor, budget), userTimeout_(kUserTimeout), socket_(descriptor) {
    SetOptions(descriptor);
}

ClientIdentity ClientConnection::Identity() const {
    return {socket_.Descriptor(), serial_};
}

int ClientConnection::Descriptor() const {
    return socket_.Descriptor();
}

void ClientConnection::ShutDown() {
    socket_.ShutDown();
}

bool ClientConnection::IsShutDown() const {
    return socket_.IsShutDown();
}

void ClientConnection::LookAtWindow() {
    if (!output_.TakeWasSent() && !isOutstanding_) {
        return;
    }
    int outstanding = 0;
    int unsent = 0;
    tcp_info info = {};
    socklen_t size = sizeof info;
    if (ioctl(Descriptor(), SIOCOUTQ, &outstanding) != 0 || ioctl(Descriptor(), SIOCOUTQNSD, &unsent) != 0 ||
        getsockopt(Descriptor(), IPPROTO_TCP, TCP_INFO, &info, &size) != 0) {
        return;
    }
    isOutstanding_ = outstanding > 0;
    const bool isClosed = unsent > 0 && info.tcpi_unacked == 0;
    SetUserTimeout(isClosed && info.tcpi_last_ack_recv < kAcknowledgedWithin ? 0 : kUserTimeout);
}

void ClientConnection::SetUserTimeout(int timeout) {
    if (timeout != userTimeout_) {
        setsockopt(Descriptor(), IPPROTO_TCP, TCP_USER_TIMEOUT, &timeout, sizeof timeout);
        userTimeout_ = timeout;
    }
}

DrainResult ClientConnection::Drain(std::vector<std::vector<unsigned char>>& packets) {
    SetReceiveTimeout();
    std::array<unsigned char, kChunkBytes> chunk{};
    std::size_t drained = 0;
    ssize_t count = 0;
    do {
        count = recv(Descriptor(), chunk.data(), chunk.size(), 0);
        if (count < 1) {
            break;
        }
        cutter_.Append(chunk.data(), static_cast<std::size_t>(count));
        MUX_LOG(plog::warning) << "Received on socket " << Descriptor() << "bytes: " << count
                               << " but expected size was: " << cutter_.ExpectedSize();
        cutter_.Cut(packets);
        drained += static_cast<std::size_t>(count);
    } while (drained < kDrainBytes && HasMore());

    if (count == -1 && errno != EAGAIN && errno != EINTR) {
        const int error = errno;
        MUX_LOG(plog::error) << "Error on select for socket " << Descriptor() << ". Error code: " << error
                             << ", Error: " << Diagnostics::ErrorText(error);
    }
    if (cutter_.IsUnrecoverable()) {
        MUX_LOG(plog::warning) << "The bytes received on socket " << Descriptor()
                               << " can never become a packet. It will be closed.";
        return DrainResult::kUnrecoverable;
    }
    return count == 0 ? DrainResult::kClosedByPeer : DrainResult::kStays;
}

void ClientConnection::SetReceiveTimeout() const {
    if (setsockopt(Descriptor(), SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof kReceiveTimeout) != 0) {
        MUX_LOG(plog::error) << "Error set RECV_TIMEOUT for socket " << Descriptor();
    }
}

// The kernel rounds the receive time-out up to a clock tick, which is far longer than a pass may block.
bool ClientConnection::HasMore() const {
    return WaitForEvent(Descriptor(), POLLIN, std::chrono::milliseconds(0)) == 1;
}

}  // namespace Brenk::Net
