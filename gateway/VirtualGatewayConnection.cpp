// Connecting and disconnecting one gateway, and what its socket reports.

#include <cxxabi.h>

#include <chrono>

#include "diagnostics/CaughtException.h"
#include "diagnostics/ErrorText.h"
#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"
#include "threading/Cancellation.h"

namespace Brenk {
namespace {

constexpr std::chrono::milliseconds kConnectionTimeout{15000};
constexpr int kMaximumFailedAttempts = 19;

}  // namespace

bool VirtualGateway::Connect(bool refreshSequence) {
    MUX_OPERATION();
    const std::lock_guard<std::recursive_mutex> connection(connectionMutex_);
    queue_.Start();
    if (IsIn({CONNECTED, NOT_PRESENT})) {
        return false;
    }
    if (!SocketToConnect()->Connect()) {
        return CountFailedAttempt();
    }
    ChangeStatus(refreshSequence ? CONNECTED : READY);
    if (refreshSequence) {
        EnqueueRefreshSequenceCounter();
    }
    return true;
}

VirtualGateway::SocketPointer VirtualGateway::SocketToConnect() {
    return socket_.With([this](SocketPointer& socket) {
        if (socket == nullptr) {
            socket = std::make_shared<Net::ClientSocket>(ipAddress_, static_cast<int>(port_), kConnectionTimeout);
            socket->SetCallbacks(SocketSendError, SocketRecvError, this);
        }
        return socket;
    });
}

// Returns false, for Connect to return.
bool VirtualGateway::CountFailedAttempt() {
    ++failedAttempts_;
    if (failedAttempts_ > kMaximumFailedAttempts) {
        ChangeStatus(NOT_PRESENT);
    }
    return false;
}

LETS_CANCELLATION_PASS bool VirtualGateway::Disconnect() {
    MUX_OPERATION();
    const std::lock_guard<std::recursive_mutex> connection(connectionMutex_);
    if (!IsIn({CONNECTED, READY, FAULTED})) {
        return false;
    }
    try {
        SocketPointer closed;
        socket_.With([&](SocketPointer& socket) { socket.swap(closed); });
        if (closed != nullptr) {
            closed->Close();
        }
        ChangeStatus(DISCONNECTED);
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        MUX_LOG(plog::error) << "Cannot disconnect from the gateway: " << Diagnostics::CaughtException().Text();
        return false;
    }
}

std::unique_lock<std::recursive_mutex> VirtualGateway::TryLockConnection() {
    return std::unique_lock<std::recursive_mutex>(connectionMutex_, std::try_to_lock);
}

VirtualGateway::SocketPointer VirtualGateway::CurrentSocket() const {
    return socket_.With([](const SocketPointer& socket) { return socket; });
}

void VirtualGateway::ChangeStatus(VirtualGatewayStatuses status) {
    const std::lock_guard<std::recursive_mutex> connection(connectionMutex_);
    const VirtualGatewayStatuses old = status_.exchange(status);
    const auto owner = Owner();
    if (owner->stateChanged != nullptr) {
        owner->stateChanged(this, old, status, owner->context);
    }
}

// Whether the call that reports an error used a socket which has been replaced meanwhile: both threads may meet the
// end of one connection, and it must lead to one reconnect.
bool VirtualGateway::IsOutdated(const Threading::Synchronized<SocketPointer>& socketInUse) const {
    const SocketPointer used = socketInUse.With([](const SocketPointer& socket) { return socket; });
    return used != nullptr && used != CurrentSocket();
}

void VirtualGateway::SocketSendError(int errorNumber, void* context) {
    MUX_OPERATION();
    auto* const gateway = static_cast<VirtualGateway*>(context);
    if (gateway == nullptr) {
        return;
    }
    const std::lock_guard<std::recursive_mutex> connection(gateway->connectionMutex_);
    if (gateway->IsOutdated(gateway->sendingSocket_)) {
        return;
    }
    MUX_LOG(plog::error) << "Socket faulted. Send error. Error description: " << Diagnostics::ErrorText(errorNumber);
    gateway->ChangeStatus(FAULTED);
}

void VirtualGateway::SocketRecvError(int errorNumber, void* context) {
    MUX_OPERATION();
    auto* const gateway = static_cast<VirtualGateway*>(context);
    if (gateway == nullptr) {
        return;
    }
    const std::lock_guard<std::recursive_mutex> connection(gateway->connectionMutex_);
    if (gateway->IsOutdated(gateway->receivingSocket_)) {
        return;
    }
    if (errorNumber == 0) {
        MUX_LOG(plog::warning) << "Connection gracefully closed. The VGs will reconnect. Error description: "
                               << Diagnostics::ErrorText(errorNumber);
        gateway->Disconnect();
        gateway->Connect(false);
        return;
    }
    MUX_LOG(plog::error) << "Socket faulted. Receive error. Error description: " << Diagnostics::ErrorText(errorNumber);
    gateway->ChangeStatus(FAULTED);
}

}  // namespace Brenk
