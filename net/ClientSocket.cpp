#include "net/ClientSocket.h"

#include <cxxabi.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "net/FreeDescriptors.h"
#include "net/SocketWait.h"
#include "threading/CatchAll.h"

namespace Brenk::Net {
namespace {

using Diagnostics::ErrorGuard;
using Diagnostics::ErrorKind;
using Diagnostics::ErrorText;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kConnectReceiveTimeout{2};
constexpr seconds kReceiveTimeout{11};
constexpr std::size_t kChunkBytes = 1024;
constexpr int kHighestPort = 65535;

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

struct KeepAliveStep {
    int level;
    int option;
    int value;
    const char* failureText;
};

constexpr KeepAliveStep kKeepAliveSteps[] = {
    {SOL_SOCKET, SO_KEEPALIVE, 1, ""},
    {IPPROTO_TCP, TCP_KEEPIDLE, 5, "Error in set TCP_KEEPIDLE"},
    {IPPROTO_TCP, TCP_KEEPCNT, 10, "Error in set TCP_KEEPCNT"},
    {IPPROTO_TCP, TCP_KEEPINTVL, 5, "Error in set TCPKEEPINTVL"},
};

struct TextOfError {
    int error;
    const char* text;
};

constexpr TextOfError kKeepAliveErrors[] = {
    {EBADF, "Not a valid socket descriptor"},
    {EINVAL, "Invalid keepalive value."},
    {EFAULT, "Cannot set keepalive socket. Invalid option address."},
    {ENOTSOCK, "Not a socket."},
    {ENOPROTOOPT, "Unknown option."},
};

constexpr TextOfError kReceiveErrors[] = {
    {ENOTSOCK, "Not a socket file descriptor on connectionSocket"},
    {ECONNREFUSED, "Connection refused on connectionSocket"},
    {EBADF, "Bad file descriptor on connectionSocket."},
};

template <std::size_t Size>
const char* FindText(const TextOfError (&texts)[Size], int error) {
    for (const TextOfError& row : texts) {
        if (row.error == error) {
            return row.text;
        }
    }
    return nullptr;
}

bool SetTimeout(int descriptor, int option, milliseconds timeout) {
    const auto whole = std::chrono::duration_cast<seconds>(timeout);
    timeval value = {};
    value.tv_sec = static_cast<time_t>(whole.count());
    value.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(timeout - whole).count());
    return setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof value) == 0;
}

// Gives the resolver's list for host and port, and returns the resolver's error number.
int Resolve(const std::string& host, int port, AddressList& list) {
    std::array<char, 16> portText{};
    static_cast<void>(std::snprintf(portText.data(), portText.size(), "%d", port));
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;

    addrinfo* addresses = nullptr;
    // The C library would take a port beyond the range modulo 65536.
    const bool portIsValid = port >= 0 && port <= kHighestPort;
    const int error = portIsValid ? getaddrinfo(host.c_str(), portText.data(), &hints, &addresses) : EAI_SERVICE;
    list.reset(error == 0 ? addresses : nullptr);
    return error;
}

// The kernel's numbers for a gateway that took too long, one for connecting and one for sending, do not say so.
std::string ReasonText(int error) {
    const bool tookTooLong = error == EINPROGRESS || error == EAGAIN;
    return ErrorText(tookTooLong ? ETIMEDOUT : error);
}

std::string AddressText(const std::string& host, int port) {
    const bool holdsColons = host.find(':') != std::string::npos;
    return (holdsColons ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

// Connecting goes on when a signal interrupts the call; its result is then a property of the socket.
bool AwaitInterruptedConnect(int descriptor, milliseconds timeout) {
    if (WaitForEvent(descriptor, POLLOUT, timeout) != 1) {
        errno = ETIMEDOUT;
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0) {
        errno = error;
    }
    return errno == 0;
}

bool ConnectTo(int descriptor, const addrinfo& address, milliseconds timeout) {
    errno = 0;
    if (connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) {
        return true;
    }
    return errno == EINTR && AwaitInterruptedConnect(descriptor, timeout);
}

// Before anything is taken from the stream: what there is no memory for stays with the kernel.
void MakeRoom(std::vector<unsigned char>& bytes, std::size_t count) {
    if (bytes.capacity() - bytes.size() < count) {
        bytes.reserve(std::max(bytes.size() + count, 2 * bytes.capacity()));
    }
}

template <typename Call>
ssize_t RepeatWhenInterrupted(Call call) {
    ssize_t result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

ssize_t SendOnce(const OpenSocket& socket, const std::vector<unsigned char>& data) {
    errno = 0;
    return RepeatWhenInterrupted([&] { return send(socket.Descriptor(), data.data(), data.size(), 0); });
}

}  // namespace

ClientSocket::ClientSocket(std::string host, int port, milliseconds connectionTimeout)
    : host_(std::move(host)), port_(port), connectionTimeout_(connectionTimeout) {}

void ClientSocket::SetCallbacks(ErrorCallback sendError, ErrorCallback receiveError, void* context) {
    sendError_ = sendError;
    receiveError_ = receiveError;
    context_ = context;
}

bool ClientSocket::Connect() {
    MUX_OPERATION();
    AddressList addresses(nullptr, &freeaddrinfo);
    if (const int error = Resolve(host_, port_, addresses)) {
        MUX_LOG(plog::error) << "GetAddrInfo error:" << gai_strerror(error);
        LogGatewayFailure(gai_strerror(error));
        ErrorGuard::Instance().Report(ErrorKind::kSocket);
        return false;
    }
    MUX_LOG(plog::debug) << "Getaddr ok. Address found.";
    SocketPointer opened = OpenConnection(*addresses);
    if (opened == nullptr) {
        return false;
    }
    socket_.With([&](SocketPointer& socket) { socket.swap(opened); });
    if (opened != nullptr) {
        opened->ShutDown();
    }
    MUX_LOG(plog::debug) << "Socket connected.";
    return true;
}

ClientSocket::SocketPointer ClientSocket::OpenConnection(const addrinfo& address) {
    int descriptor = socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (descriptor == -1) {
        const int error = errno;
        MUX_LOG(plog::error) << "Cannot create socket:" << ErrorText(error);
        ErrorGuard::Instance().Report(ErrorKind::kSocket);
        return nullptr;
    }
    descriptor = MoveAboveClients(descriptor);
    auto opened = OpenSocket::Share(descriptor);
    MUX_LOG(plog::debug) << "Socket created.";

    SetTimeouts(descriptor);
    if (!SetKeepAliveOption(descriptor)) {
        const int error = errno;
        MUX_LOG(plog::error) << "Cannot set keep alive for socket. Error:" << ErrorText(error);
        ErrorGuard::Instance().Report(ErrorKind::kSocket);
    }
    if (!ConnectTo(descriptor, address, connectionTimeout_)) {
        const int error = errno;
        MUX_LOG(plog::error) << "Cannot connect to socket:" << ErrorText(error);
        LogGatewayFailure(ReasonText(error));
        opened.reset();
        ErrorGuard::Instance().Report(ErrorKind::kConnection);
    }
    return opened;
}

void ClientSocket::LogGatewayFailure(const std::string& reason) const {
    MUX_LOG(plog::error) << "Gateway at " << AddressText(host_, port_) << ": " << reason;
}

void ClientSocket::SetTimeouts(int descriptor) {
    if (!SetTimeout(descriptor, SO_RCVTIMEO, kConnectReceiveTimeout)) {
        MUX_LOG(plog::error) << "setsockopt failed for recv timeout.";
    }
    if (!SetTimeout(descriptor, SO_SNDTIMEO, connectionTimeout_)) {
        MUX_LOG(plog::error) << "setsockopt failed for send timeout";
    }
}

bool ClientSocket::SetKeepAliveOption(int descriptor) {
    MUX_OPERATION();
    for (const KeepAliveStep& step : kKeepAliveSteps) {
        if (setsockopt(descriptor, step.level, step.option, &step.value, sizeof step.value) == 0) {
            continue;
        }
        const int error = errno;
        if (const char* const text = FindText(kKeepAliveErrors, error)) {
            MUX_LOG(plog::error) << text;
        }
        if (*step.failureText != '\0') {
            MUX_LOG(plog::error) << step.failureText;
        }
        errno = error;
        return false;
    }
    MUX_LOG(plog::debug) << "Keepalive set.";
    return true;
}

bool ClientSocket::Send(std::vector<unsigned char>& data) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "Sending" << data.size() << " bytes of data. Bytes array:" << Diagnostics::BytesToHex(data);
    const SocketPointer socket = CurrentSocket();
    errno = ENOTCONN;
    const ssize_t sent = socket == nullptr ? -1 : SendOnce(*socket, data);
    const int error = errno;
    MUX_LOG(plog::debug) << "Send result:" << sent;
    if (sent != -1) {
        return true;
    }
    MUX_LOG(plog::error) << "Socket send failed. Error:" << ErrorText(error);
    if (socket != nullptr && !socket->IsShutDown()) {
        ConnectionFailed(error, sendError_);
    }
    return false;
}

bool ClientSocket::Receive(std::vector<unsigned char>& received) {
    MUX_OPERATION();
    const SocketPointer socket = CurrentSocket();
    errno = 0;
    if (socket == nullptr || !SetTimeout(socket->Descriptor(), SO_RCVTIMEO, kReceiveTimeout)) {
        MUX_LOG(plog::error) << "Cannot set socket option SO_RCVTIMEO";
        if (socket != nullptr) {
            ErrorGuard::Instance().Report(ErrorKind::kSocket);
        }
        return false;
    }
    const int ready = WaitForEvent(socket->Descriptor(), POLLIN, kReceiveTimeout);
    if (ready == -1) {
        const int error = errno;
        MUX_LOG(plog::error) << "Cannot wait for the socket. Error:" << ErrorText(error);
        ErrorGuard::Instance().Report(ErrorKind::kSocket);
        return false;
    }
    if (ready == 0) {
        MUX_LOG(plog::verbose) << "Nothing received within " << kReceiveTimeout.count() << " seconds.";
        return true;
    }
    return ReadFrame(*socket, received);
}

bool ClientSocket::ReadFrame(const OpenSocket& socket, std::vector<unsigned char>& received) {
    std::array<unsigned char, kChunkBytes> chunk{};
    for (;;) {
        MakeRoom(received, chunk.size());
        const ssize_t count =
            RepeatWhenInterrupted([&] { return recv(socket.Descriptor(), chunk.data(), chunk.size(), 0); });
        if (count == 0) {
            return EndOfStream(socket);
        }
        if (count > 0) {
            received.insert(received.end(), chunk.begin(), chunk.begin() + count);
            if (received.front() == received.size()) {
                return true;
            }
            MUX_LOG(plog::debug) << "Received data but more than one data chunk must be handled.";
        } else if (errno != EAGAIN) {
            return ReceiveFailed(socket, errno);
        } else if (!received.empty()) {
            return true;
        }
    }
}

bool ClientSocket::EndOfStream(const OpenSocket& socket) {
    if (socket.IsShutDown()) {
        return false;
    }
    if (receiveError_ != nullptr) {
        receiveError_(0, context_);
    }
    MUX_LOG(plog::error) << "Received 0 bytes as read result, and no other read operations was pending. The socket "
                            "must be disconected.";
    return false;
}

bool ClientSocket::ReceiveFailed(const OpenSocket& socket, int error) {
    if (socket.IsShutDown()) {
        return false;
    }
    if (const char* const text = FindText(kReceiveErrors, error)) {
        MUX_LOG(plog::error) << text;
    } else {
        MUX_LOG(plog::error) << "Error not handled. Error code received:" << error;
    }
    ConnectionFailed(error, receiveError_);
    return false;
}

// The callback reconnects, and its lines come before the end that the report leads to. An exception that it throws does
// not keep the report away.
LETS_CANCELLATION_PASS void ClientSocket::ConnectionFailed(int error, ErrorCallback callback) const {
    LogGatewayFailure(ReasonText(error));
    try {
        if (callback != nullptr) {
            callback(error, context_);
        }
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        ErrorGuard::Instance().Report(ErrorKind::kConnection);
        throw;
    }
    ErrorGuard::Instance().Report(ErrorKind::kConnection);
}

void ClientSocket::Close() {
    MUX_OPERATION();
    SocketPointer closed;
    socket_.With([&](SocketPointer& socket) { socket.swap(closed); });
    if (closed != nullptr) {
        closed->ShutDown();
        MUX_LOG(plog::debug) << "Called close on current connectionSocket.";
    }
}

bool ClientSocket::HasPendingError() const {
    const SocketPointer socket = CurrentSocket();
    if (socket == nullptr) {
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket->Descriptor(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0;
}

ClientSocket::SocketPointer ClientSocket::CurrentSocket() const {
    return socket_.With([](const SocketPointer& socket) { return socket; });
}

}  // namespace Brenk::Net
