// The receive thread of the server socket: waits for the clients, takes in what they send and sends on what they are
// due.

#include <cerrno>
#include <new>
#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "net/ServerSocket.h"
#include "threading/CatchAll.h"
#include "threading/Thread.h"

namespace Brenk::Net {
namespace {

using Diagnostics::ErrorText;
using Threading::MutexGuard;

constexpr std::chrono::seconds kPause{1};

}  // namespace

void* ServerSocket::ReceiveDataLoopThreadProc(void* serverSocketBlock) {
    MUX_OPERATION();
    auto* const serverSocket = Threading::TakeOwner<ServerSocket>(serverSocketBlock);
    MUX_LOG(plog::info) << "Receive data loop thread spawned.";
    serverSocket->ReceiveLoop();
    pthread_exit(nullptr);
}

void ServerSocket::ReceiveLoop() {
    while (receiveLoop_.isRunning) {
        Threading::CatchAll([this] { ReceivePass(); },
                            [this](const char* text) {
                                MUX_LOG(plog::error) << "Exception in the receive data loop: " << text;
                                PauseAfterException();
                            });
    }
}

void ServerSocket::ReceivePass() {
    MutexGuard guard = clients_.NewGuard();
    if (!guard.Lock(kListLockTimeout)) {
        return;
    }
    watch_.Collect(clients_);
    guard.Release();
    memory_.ReleaseMemoryAfterPeak(watch_, clients_.Budget());
    if (watch_.Count() == 0) {
        stop_.SleepFor(kPause);
        return;
    }
    watch_.LookAtWindows();
    if (!WaitForActivity() || !guard.Lock(kListLockTimeout)) {
        return;
    }
    DrainReadyClients();
    guard.Release();
    SendOnPendingOutput();
}

// Waits for a second at most until a client has sent something or has gone. Pending output is sent on meanwhile, which
// neither ends nor prolongs the wait. What was sent is taken in first: a client that sends and resets its connection
// could be closed by a failed send with its last requests unread.
bool ServerSocket::WaitForActivity() {
    const auto end = Clock::now() + kPause;
    while (true) {
        if (!watch_.WaitUntil(end)) {
            const int error = errno;
            MUX_LOG(plog::error) << "Error on select. Error: " << ErrorText(error);
            // What made it fail may last, as when fewer descriptors are allowed than there are clients.
            stop_.SleepFor(kPause);
            return false;
        }
        if (watch_.HasInput()) {
            return true;
        }
        SendOnPendingOutput();
        if (Clock::now() >= end) {
            MUX_LOG(plog::verbose) << "Read select exits for timeout.";
            return false;
        }
        watch_.Collect(clients_);
    }
}

void ServerSocket::SendOnPendingOutput() {
    watch_.ForEachToSendOn([this](const ClientPointer& client) {
        if (const int error = client->Output().SendOn()) {
            FailSend(client, client->Descriptor(), error);
        }
    });
}

void ServerSocket::DrainReadyClients() {
    std::vector<ClientPointer> resetClients;
    watch_.ForEachWithInput([&](const ClientPointer& client) {
        if (!TakeFrom(client)) {
            resetClients.push_back(client);
        }
    });
    CloseResetClients(resetClients);
}

// What could not be kept for want of memory is missing in the client's stream, and nobody can tell where its next
// packet begins: it is closed at once, and the others go on.
bool ServerSocket::TakeFrom(const ClientPointer& client) {
    try {
        return DrainClient(*client);
    } catch (const std::bad_alloc&) {
        CloseConnection(client, ListLock::kAlreadyTaken);
        MUX_LOG(plog::warning) << "There is no memory for what was received on socket " << client->Descriptor()
                               << ". It is closed.";
        return true;
    }
}

bool ServerSocket::DrainClient(ClientConnection& client) {
    MUX_LOG(plog::verbose) << "Activity detected for socket " << client.Descriptor();
    std::vector<std::vector<unsigned char>> packets;
    const DrainResult result = client.Drain(packets);
    for (std::vector<unsigned char>& packet : packets) {
        MUX_LOG(plog::verbose) << "Invoking DataReceivedCallback if not null.";
        if (callbacks_.dataReceived != nullptr) {
            callbacks_.dataReceived(client.Descriptor(), new std::vector<unsigned char>(std::move(packet)),
                                    callbacks_.context);
        }
    }
    if (result == DrainResult::kClosedByPeer) {
        MUX_LOG(plog::warning) << "Recv returned 0 for socket " << client.Descriptor()
                               << " with a receivedData buffer empty. It will be market for close.";
    }
    return result == DrainResult::kStays;
}

void ServerSocket::CloseResetClients(const std::vector<ClientPointer>& resetClients) {
    for (const ClientPointer& client : resetClients) {
        MUX_LOG(plog::debug) << "Clearing reset sockets list. Current socket to close: " << client->Descriptor();
        CloseConnection(client, ListLock::kAlreadyTaken);
    }
}

}  // namespace Brenk::Net
