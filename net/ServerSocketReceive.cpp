// The receive thread of the server socket: waits for the clients, takes in what they send and sends on what they are
// due.

#include <cxxabi.h>
#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "diagnostics/CaughtException.h"
#include "diagnostics/ErrorText.h"
#include "diagnostics/Log.h"
#include "net/ServerSocket.h"
#include "net/SocketWait.h"
#include "threading/Cancellation.h"
#include "threading/OwnerBlock.h"

namespace Brenk::Net {
namespace {

using Diagnostics::ErrorText;
using std::chrono::milliseconds;
using Threading::MutexGuard;

constexpr std::chrono::seconds kPause{1};
constexpr std::chrono::seconds kWindowPeriod{10};

// So many clients, or so much pending output, leave more behind than the allocator keeps for a few.
constexpr std::size_t kCrowd = 64;
constexpr std::size_t kBacklogBytes = 512UL * 1024;

}  // namespace

void* ServerSocket::ReceiveDataLoopThreadProc(void* serverSocketBlock) {
    MUX_OPERATION();
    auto* const serverSocket = Threading::TakeOwner<ServerSocket>(serverSocketBlock);
    MUX_LOG(plog::info) << "Receive data loop thread spawned.";
    serverSocket->ReceiveLoop();
    pthread_exit(nullptr);
}

LETS_CANCELLATION_PASS void ServerSocket::ReceiveLoop() {
    while (receiveRunning_) {
        try {
            ReceivePass();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            MUX_LOG(plog::error) << "Exception in the receive data loop: " << Diagnostics::CaughtException().Text();
            PauseAfterException();
        }
    }
}

void ServerSocket::ReceivePass() {
    MutexGuard guard = clientsListMutex_.NewGuard();
    if (!guard.Lock(kListLockTimeout)) {
        return;
    }
    CollectClients();
    guard.Release();
    TrimMemory();
    if (passClients_.empty()) {
        stop_.SleepFor(kPause);
        return;
    }
    LookAtWindows();
    if (!WaitForActivity() || !guard.Lock(kListLockTimeout)) {
        return;
    }
    DrainReadyClients();
    guard.Release();
    SendOnPendingOutput();
}

void ServerSocket::CollectClients() {
    const std::uint64_t version = clients_.With([this](const ClientList& clients) {
        if (clients.Version() != passVersion_) {
            clients.CopyTo(passClients_);
        }
        return clients.Version();
    });
    if (version == passVersion_) {
        return;
    }
    passEvents_.clear();
    for (const ClientPointer& client : passClients_) {
        passEvents_.push_back({client->Descriptor(), POLLIN, 0});
    }
    passEvents_.push_back({outputPending_.Descriptor(), POLLIN, 0});
    passVersion_ = version;
}

// The allocator gives pages back by itself only at the end of its heap, where something of a long life stands by then.
// Whoever allocates waits while it looks through the heap for them, so it does that once a second at most.
void ServerSocket::TrimMemory() {
    const auto now = Clock::now();
    if (now < nextTrim_) {
        return;
    }
    const bool hasCrowdLeft = HasCrowdLeft();
    if (HasBacklogLeft() || hasCrowdLeft) {
        malloc_trim(0);
        nextTrim_ = now + kPause;
    }
}

bool ServerSocket::HasCrowdLeft() {
    crowd_ = std::max(crowd_, passClients_.size());
    if (crowd_ < kCrowd || passClients_.size() > crowd_ / 2) {
        return false;
    }
    crowd_ = passClients_.size();
    passClients_.shrink_to_fit();
    passEvents_.shrink_to_fit();
    return true;
}

bool ServerSocket::HasBacklogLeft() {
    const std::size_t pending = outputBudget_.Used();
    backlog_ = std::max(backlog_, outputBudget_.TakePeak());
    if (backlog_ < kBacklogBytes || pending > backlog_ / 2) {
        return false;
    }
    backlog_ = pending;
    return true;
}

void ServerSocket::LookAtWindows() {
    const auto now = Clock::now();
    if (now < nextLookAtWindows_) {
        return;
    }
    nextLookAtWindows_ = now + kWindowPeriod;
    for (const ClientPointer& client : passClients_) {
        client->LookAtWindow();
    }
}

// Waits for a second at most until a client has sent something or has gone. Pending output is sent on meanwhile, which
// neither ends nor prolongs the wait. What was sent is taken in first: a client that sends and resets its connection
// could be closed by a failed send with its last requests unread.
bool ServerSocket::WaitForActivity() {
    auto now = Clock::now();
    const auto end = now + kPause;
    while (true) {
        const auto until = std::min(end, WatchForOutput());
        const auto wait = std::max(std::chrono::ceil<milliseconds>(until - now), milliseconds(0));
        if (WaitForEvents(passEvents_, wait) == -1) {
            const int error = errno;
            MUX_LOG(plog::error) << "Error on select. Error: " << ErrorText(error);
            // What made it fail may last, as when fewer descriptors are allowed than there are clients.
            stop_.SleepFor(kPause);
            return false;
        }
        if (HasInput()) {
            return true;
        }
        SendOnPendingOutput();
        now = Clock::now();
        if (now >= end) {
            MUX_LOG(plog::verbose) << "Read select exits for timeout.";
            return false;
        }
        CollectClients();
    }
}

// Sets what each client is waited for, and returns when the first of them has to be looked at all the same.
ServerSocket::Clock::time_point ServerSocket::WatchForOutput() {
    auto first = Clock::time_point::max();
    for (std::size_t index = 0; index < passClients_.size(); ++index) {
        const ClientOutput& output = passClients_.at(index)->Output();
        passEvents_.at(index).events = output.IsPending() ? POLLIN | POLLOUT : POLLIN;
        if (output.IsPending()) {
            first = std::min(first, output.Deadline());
        }
    }
    return first;
}

void ServerSocket::SendOnPendingOutput() {
    if (passEvents_.back().revents != 0) {
        outputPending_.Clear();
    }
    for (std::size_t index = 0; index < passClients_.size(); ++index) {
        const ClientPointer& client = passClients_.at(index);
        if (!client->Output().IsPending() || client->IsShutDown()) {
            continue;
        }
        const bool takesMore = (passEvents_.at(index).revents & POLLOUT) != 0;
        if (takesMore || client->Output().Deadline() <= Clock::now()) {
            SendOn(client);
        }
    }
}

void ServerSocket::SendOn(const ClientPointer& client) {
    if (const int error = client->Output().SendOn()) {
        FailSend(client, client->Descriptor(), error);
    }
}

bool ServerSocket::HasInput() const {
    return std::any_of(passEvents_.begin(), std::prev(passEvents_.end()),
                       [](const pollfd& event) { return (event.revents & ~POLLOUT) != 0; });
}

void ServerSocket::DrainReadyClients() {
    std::vector<ClientPointer> resetClients;
    for (std::size_t index = 0; index < passClients_.size(); ++index) {
        const ClientPointer& client = passClients_.at(index);
        // One that was closed by a failed send while this thread waited is no client any more.
        const bool hasInput = (passEvents_.at(index).revents & ~POLLOUT) != 0;
        if (hasInput && !client->IsShutDown() && !TakeFrom(client)) {
            resetClients.push_back(client);
        }
    }
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
        if (dataReceived_ != nullptr) {
            dataReceived_(client.Descriptor(), new std::vector<unsigned char>(std::move(packet)), context_);
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
