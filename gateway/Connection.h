#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gateway/GatewayOwner.h"
#include "net/ClientSocket.h"
#include "threading/Synchronized.h"

namespace Brenk {

// The connection to one gateway: its socket, its status and how often it could not be made.
//
// One thread at a time connects, disconnects or changes the status. The owner is notified of each change once, on that
// thread, before any other change. Inside that call the owner reconnects a FAULTED gateway, so the lock is recursive:
// if released for the call, a second thread could connect first, and the owner would then drop the new connection.
//
// Any thread, except where an operation names one.
class Connection {
  public:
    using Lock = std::unique_lock<std::recursive_mutex>;

    // What a socket calls when it fails; see Net::ClientSocket.
    struct SocketErrors {
        Net::ClientSocket::ErrorCallback send;
        Net::ClientSocket::ErrorCallback receive;
        void* context;
    };

    // The owner must outlive the connection. Throws (a pointer to a new) NullObjectException for an empty address and
    // InvalidArgumentException for port 0.
    Connection(std::string ipAddress, std::uint32_t port, SocketErrors errors, const OwnerLink& owner);

    // Keeps other threads from connecting, disconnecting and changing the status. The lock of TryHold is not held if
    // another thread is at it right now.
    Lock Hold();
    Lock TryHold();

    // Connects and changes to `whenConnected`. False in CONNECTED and NOT_PRESENT, and when the connection fails; the
    // 20th failure changes to NOT_PRESENT.
    bool Connect(VirtualGatewayStatuses whenConnected);

    // Drops the socket and changes to DISCONNECTED. False, with nothing changed, unless CONNECTED, READY or FAULTED.
    bool Disconnect();

    // Closes the socket, which wakes the threads that use it, and changes nothing.
    void CloseSocket();

    // Sets the status and notifies the owner, even if the status is unchanged.
    void ChangeStatus(VirtualGatewayStatuses status);

    const std::string& IpAddress() const;
    std::uint32_t Port() const;
    VirtualGatewayStatuses Status() const;
    bool IsIn(std::initializer_list<VirtualGatewayStatuses> statuses) const;

    // As the operations of the socket (see Net::ClientSocket); false without one. Send thread and read thread.
    bool Send(std::vector<unsigned char>& bytes);
    bool Receive(std::vector<unsigned char>& received);

    // Whether the Send or the Receive that runs now uses a socket which has been replaced meanwhile. Both threads may
    // meet the end of one connection, and it must lead to one reconnect: the error of such a call changes nothing.
    bool IsSendOutdated() const;
    bool IsReceiveOutdated() const;

    // Whether there is a socket and it has an error that no call has reported.
    bool HasPendingError() const;

  private:
    using SocketPointer = std::shared_ptr<Net::ClientSocket>;
    using SocketSlot = Threading::Synchronized<SocketPointer>;

    class SocketUse;

    SocketPointer CurrentSocket() const;
    SocketPointer SocketToConnect();
    void CountFailedAttempt();
    bool IsOutdated(const SocketSlot& inUse) const;

    const std::string ipAddress_;
    const std::uint32_t port_;
    const SocketErrors errors_;
    const OwnerLink& owner_;
    std::recursive_mutex mutex_;
    std::atomic<VirtualGatewayStatuses> status_{CREATED};
    int failedAttempts_ = 0;  // under mutex_
    SocketSlot socket_;
    SocketSlot sendingSocket_;    // in use by the send thread
    SocketSlot receivingSocket_;  // in use by the read thread
};

}  // namespace Brenk
