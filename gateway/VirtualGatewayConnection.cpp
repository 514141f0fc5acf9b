// Connecting and disconnecting one gateway, and what its socket reports.

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "gateway/VirtualGateway.h"
#include "threading/CatchAll.h"

namespace Brenk {

bool VirtualGateway::Connect(bool refreshSequence) {
    MUX_OPERATION();
    const Connection::Lock lock = connection_.Hold();
    queue_.Start();
    if (!connection_.Connect(refreshSequence ? CONNECTED : READY)) {
        return false;
    }
    if (refreshSequence) {
        EnqueueRefreshSequenceCounter();
    }
    return true;
}

bool VirtualGateway::Disconnect() {
    MUX_OPERATION();
    const Connection::Lock lock = connection_.Hold();
    bool isDisconnected = false;
    Threading::CatchAll(
        [&] { isDisconnected = connection_.Disconnect(); },
        [](const char* text) { MUX_LOG(plog::error) << "Cannot disconnect from the gateway: " << text; });
    return isDisconnected;
}

std::unique_lock<std::recursive_mutex> VirtualGateway::TryLockConnection() {
    return connection_.TryHold();
}

void VirtualGateway::SocketSendError(int errorNumber, void* context) {
    MUX_OPERATION();
    auto* const gateway = static_cast<VirtualGateway*>(context);
    if (gateway == nullptr) {
        return;
    }
    const Connection::Lock lock = gateway->connection_.Hold();
    if (gateway->connection_.IsSendOutdated()) {
        return;
    }
    MUX_LOG(plog::error) << "Socket faulted. Send error. Error description: " << Diagnostics::ErrorText(errorNumber);
    gateway->connection_.ChangeStatus(FAULTED);
}

void VirtualGateway::SocketRecvError(int errorNumber, void* context) {
    MUX_OPERATION();
    auto* const gateway = static_cast<VirtualGateway*>(context);
    if (gateway == nullptr) {
        return;
    }
    const Connection::Lock lock = gateway->connection_.Hold();
    if (gateway->connection_.IsReceiveOutdated()) {
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
    gateway->connection_.ChangeStatus(FAULTED);
}

}  // namespace Brenk
