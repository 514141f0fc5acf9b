#include "mux/Clients.h"

#include <cstddef>
#include <utility>

#include "diagnostics/Log.h"

namespace Mux {
namespace {

using Brenk::Net::ClientIdentity;
using Brenk::Net::ServerSocket;

constexpr std::size_t kFewClients = 8;

void WarnOfLittleRoom(const ServerSocket& serverSocket) {
    const std::size_t room = serverSocket.RoomForClients();
    if (room < kFewClients) {
        MUX_LOG(plog::warning) << "There is room for " << room
                               << " clients only. The process is allowed too few file descriptors.";
    }
}

}  // namespace

bool Clients::Open(std::unique_ptr<ServerSocket> serverSocket) {
    owned_ = std::move(serverSocket);
    visible_ = owned_.get();
    if (!owned_->InitSocket()) {
        MUX_LOG(plog::error) << "Error detected on socket. Initialization. Shutdown Mux.";
        return false;
    }
    MUX_LOG(plog::debug) << "Server socket initialized.";
    if (!owned_->StartAcceptLoop() || !owned_->StartReceiveLoop()) {
        return false;
    }
    WarnOfLittleRoom(*owned_);
    return true;
}

void Clients::Close() {
    visible_ = nullptr;
    owned_.reset();
}

ClientIdentity Clients::IdentityOf(int descriptor) const {
    ServerSocket* const serverSocket = visible_;
    return serverSocket == nullptr ? ClientIdentity{descriptor, 0} : serverSocket->IdentityOf(descriptor);
}

bool Clients::Send(const ClientIdentity& client, const std::vector<unsigned char>& bytes) const {
    ServerSocket* const serverSocket = visible_;
    return serverSocket != nullptr && serverSocket->Send(client, bytes);
}

std::vector<ClientIdentity> Clients::Connected() const {
    ServerSocket* const serverSocket = visible_;
    return serverSocket == nullptr ? std::vector<ClientIdentity>() : serverSocket->ConnectedClients();
}

}  // namespace Mux
