#include "gateway/Connection.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "messages/Exceptions.h"

namespace Brenk {
namespace {

constexpr std::chrono::milliseconds kConnectionTimeout{15000};
constexpr int kMaximumFailedAttempts = 19;

std::string CheckedAddress(std::string ipAddress) {
    if (ipAddress.empty()) {
        throw new NullObjectException;
    }
    return ipAddress;
}

std::uint32_t CheckedPort(std::uint32_t port) {
    if (port == 0) {
        throw new InvalidArgumentException;
    }
    return port;
}

}  // namespace

// Shows, as long as it lives, that its thread uses the socket.
class Connection::SocketUse {
  public:
    SocketUse(SocketSlot& slot, const SocketPointer& socket) : slot_(slot) {
        slot_.With([&](SocketPointer& current) { current = socket; });
    }
    ~SocketUse() {
        slot_.With([](SocketPointer& current) { current.reset(); });
    }
    SocketUse(const SocketUse&) = delete;
    SocketUse& operator=(const SocketUse&) = delete;

  private:
    SocketSlot& slot_;
};

Connection::Connection(std::string ipAddress, std::uint32_t port, SocketErrors errors, const OwnerLink& owner)
    : ipAddress_(CheckedAddress(std::move(ipAddress))), port_(CheckedPort(port)), errors_(errors), owner_(owner) {}

Connection::Lock Connection::Hold() {
    return Lock(mutex_);
}

Connection::Lock Connection::TryHold() {
    return {mutex_, std::try_to_lock};
}

bool Connection::Connect(VirtualGatewayStatuses whenConnected) {
    const Lock lock = Hold();
    if (IsIn({CONNECTED, NOT_PRESENT})) {
        return false;
    }
    if (!SocketToConnect()->Connect()) {
        CountFailedAttempt();
        return false;
    }
    ChangeStatus(whenConnected);
    return true;
}

Connection::SocketPointer Connection::SocketToConnect() {
    return socket_.With([this](SocketPointer& socket) {
        if (socket == nullptr) {
            socket = std::make_shared<Net::ClientSocket>(ipAddress_, static_cast<int>(port_), kConnectionTimeout);
            socket->SetCallbacks(errors_.send, errors_.receive, errors_.context);
        }
        return socket;
    });
}

void Connection::CountFailedAttempt() {
    ++failedAttempts_;
    if (failedAttempts_ > kMaximumFailedAttempts) {
        ChangeStatus(NOT_PRESENT);
    }
}

bool Connection::Disconnect() {
    const Lock lock = Hold();
    if (!IsIn({CONNECTED, READY, FAULTED})) {
        return false;
    }
    SocketPointer closed;
    socket_.With([&](SocketPointer& socket) { socket.swap(closed); });
    if (closed != nullptr) {
        closed->Close();
    }
    ChangeStatus(DISCONNECTED);
    return true;
}

void Connection::CloseSocket() {
    if (const SocketPointer socket = CurrentSocket()) {
        socket->Close();
    }
}

void Connection::ChangeStatus(VirtualGatewayStatuses status) {
    const Lock lock = Hold();
    const VirtualGatewayStatuses old = status_.exchange(status);
    owner_.TellStatus(old, status);
}

const std::string& Connection::IpAddress() const {
    return ipAddress_;
}

std::uint32_t Connection::Port() const {
    return port_;
}

VirtualGatewayStatuses Connection::Status() const {
    return status_;
}

bool Connection::IsIn(std::initializer_list<VirtualGatewayStatuses> statuses) const {
    return std::find(statuses.begin(), statuses.end(), Status()) != statuses.end();
}

bool Connection::Send(std::vector<unsigned char>& bytes) {
    const SocketPointer socket = CurrentSocket();
    if (socket == nullptr) {
        return false;
    }
    const SocketUse use(sendingSocket_, socket);
    return socket->Send(bytes);
}

bool Connection::Receive(std::vector<unsigned char>& received) {
    const SocketPointer socket = CurrentSocket();
    if (socket == nullptr) {
        return false;
    }
    const SocketUse use(receivingSocket_, socket);
    return socket->Receive(received);
}

bool Connection::IsSendOutdated() const {
    return IsOutdated(sendingSocket_);
}

bool Connection::IsReceiveOutdated() const {
    return IsOutdated(receivingSocket_);
}

bool Connection::IsOutdated(const SocketSlot& inUse) const {
    const SocketPointer used = inUse.With([](const SocketPointer& socket) { return socket; });
    return used != nullptr && used != CurrentSocket();
}

bool Connection::HasPendingError() const {
    const SocketPointer socket = CurrentSocket();
    return socket != nullptr && socket->HasPendingError();
}

Connection::SocketPointer Connection::CurrentSocket() const {
    return socket_.With([](const SocketPointer& socket) { return socket; });
}

}  // namespace Brenk
