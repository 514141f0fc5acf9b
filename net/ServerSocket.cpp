#include "net/ServerSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "net/FreeDescriptors.h"
#include "threading/CatchAll.h"
#include "threading/Thread.h"

namespace Brenk::Net {
namespace {

using Diagnostics::ErrorText;
using Threading::MutexGuard;

// Under which all lines of sending stand, whatever identifies the client.
constexpr const char* kSendOperation = "bool Brenk::Net::ServerSocket::Send(int, const std::vector<unsigned char>&)";

constexpr int kBacklog = 128;
constexpr int kHighestPort = 65535;
constexpr std::chrono::seconds kPauseAfterException{1};
constexpr std::chrono::seconds kPauseWithoutDescriptors{1};

// The number of a connection until a client has taken it over: closes it when that never happens.
class AcceptedDescriptor {
  public:
    explicit AcceptedDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~AcceptedDescriptor() {
        if (descriptor_ != -1) {
            close(descriptor_);
        }
    }
    AcceptedDescriptor(const AcceptedDescriptor&) = delete;
    AcceptedDescriptor& operator=(const AcceptedDescriptor&) = delete;

    void Release() { descriptor_ = -1; }

  private:
    int descriptor_;
};

bool IsTransient(int error) {
    return error == EINTR || error == ECONNABORTED;
}

}  // namespace

ServerSocket::ServerSocket() : ServerSocket(kDefaultPort) {}

ServerSocket::ServerSocket(int port) : port_(port) {}

ServerSocket::~ServerSocket() {
    acceptLoop_.isRunning = false;
    receiveLoop_.isRunning = false;
    stop_.Stop();
    CloseListener();
    for (const Loop* loop : {&acceptLoop_, &receiveLoop_}) {
        if (loop->thread != nullptr) {
            loop->thread->Join();
        }
    }
}

void ServerSocket::SetContext(void* context) {
    callbacks_.context = context;
}

void ServerSocket::SetDescriptorsForOthersCallback(DescriptorsCallback callback) {
    callbacks_.descriptorsForOthers = callback;
}

void ServerSocket::SetClientAcceptedCallback(ClientCallback callback) {
    callbacks_.clientAccepted = callback;
}

void ServerSocket::SetClientDeletedCallback(ClientCallback callback) {
    callbacks_.clientDeleted = callback;
}

void ServerSocket::SetDataReceivedCallback(DataReceivedCallback callback) {
    callbacks_.dataReceived = callback;
}

void ServerSocket::SetDataSentCallback(DataSentCallback callback) {
    callbacks_.dataSent = callback;
}

bool ServerSocket::InitSocket() {
    MUX_OPERATION();
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor == -1) {
        return FailToInit("Error init server socket. ", errno);
    }
    auto listener = OpenSocket::Share(descriptor);
    const int enabled = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEPORT, &enabled, sizeof enabled);

    if (const int error = Bind(descriptor)) {
        return FailToInit("Error on bind server socket. ", error);
    }
    if (listen(descriptor, kBacklog) != 0) {
        return FailToInit("Error on listen server socket. ", errno);
    }
    listener_.With([&](std::shared_ptr<OpenSocket>& current) { current = listener; });
    return true;
}

bool ServerSocket::FailToInit(const char* text, int error) {
    MUX_LOG(plog::error) << text << ErrorText(error);
    return false;
}

// Returns 0 or the error number. A port that does not fit the address would be cut to another one, or to 0, for
// which the kernel picks a port by itself.
int ServerSocket::Bind(int descriptor) const {
    if (port_ < 1 || port_ > kHighestPort) {
        return EINVAL;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    return bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
}

bool ServerSocket::StartAcceptLoop() {
    MUX_OPERATION();
    if (!Start(acceptLoop_, AcceptLoopThreadProc)) {
        MUX_LOG(plog::error) << "Cannot spawn accept loop thread.";
        return false;
    }
    return true;
}

bool ServerSocket::StartReceiveLoop() {
    MUX_OPERATION();
    if (!Start(receiveLoop_, ReceiveDataLoopThreadProc)) {
        MUX_LOG(plog::error) << "Cannot spawn receive data loop thread.";
        return false;
    }
    return true;
}

bool ServerSocket::Start(Loop& loop, Threading::Thread::Procedure procedure) {
    if (loop.isRunning.exchange(true)) {
        return true;
    }
    loop.thread = std::make_unique<Threading::Thread>(procedure);
    if (!Threading::StartWithOwner(*loop.thread, this)) {
        loop.isRunning = false;
        return false;
    }
    return true;
}

void* ServerSocket::AcceptLoopThreadProc(void* serverSocketBlock) {
    MUX_OPERATION();
    auto* const serverSocket = Threading::TakeOwner<ServerSocket>(serverSocketBlock);
    MUX_LOG(plog::info) << "Accept loop thread spawned.";
    serverSocket->AcceptLoop();
    MUX_LOG(plog::info) << "Accept loop thread closing.";
    pthread_exit(nullptr);
}

void ServerSocket::AcceptLoop() {
    const auto listener = listener_.With([](const std::shared_ptr<OpenSocket>& current) { return current; });
    bool isUsable = listener != nullptr;
    while (isUsable && acceptLoop_.isRunning) {
        Threading::CatchAll([&] { isUsable = AcceptClient(*listener); },
                            [this](const char* text) {
                                MUX_LOG(plog::error) << "Exception in the accept loop: " << text;
                                PauseAfterException();
                            });
    }
}

// What was thrown may be thrown again by each pass, and nothing else keeps the passes of these loops apart when there
// is work to do.
void ServerSocket::PauseAfterException() {
    stop_.SleepFor(kPauseAfterException);
}

// Returns false when the listening socket is broken. It is not, when the process was left too few descriptors for one
// more: that passes, so accept is not called meanwhile.
bool ServerSocket::AcceptClient(const OpenSocket& listener) {
    if (CountFreeDescriptors(1) == 0) {
        stop_.SleepFor(kPauseWithoutDescriptors);
        return true;
    }
    int descriptor = accept4(listener.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor == -1) {
        const int error = errno;
        if (IsTransient(error) || listener.IsShutDown()) {
            return !listener.IsShutDown();
        }
        MUX_LOG(plog::error) << "Accept loop received a broken socket on Accept() request. "
                             << "Error: " << ErrorText(error);
        CloseListener();
        return false;
    }
    // The kernel picks the number when accept begins to wait, perhaps when there was less room than now.
    if (descriptor >= kClientNumbers) {
        descriptor = MoveToLowestNumber(descriptor);
    }
    AcceptedDescriptor accepted(descriptor);
    if (HasRoomFor(descriptor)) {
        MUX_LOG(plog::info) << "Accepted connection with FD " << descriptor;
        const ClientPointer client = clients_.NewClient(descriptor);
        accepted.Release();
        AddClient(client);
    }
    return true;
}

bool ServerSocket::HasRoomFor(int descriptor) const {
    const std::size_t kept = KeptDescriptors();
    if (descriptor < kClientNumbers && CountFreeDescriptors(kept) == kept) {
        return true;
    }
    MUX_LOG(plog::warning) << "Too many clients. The connection with FD " << descriptor << " is closed at once.";
    return false;
}

// Without these a crowd of clients would make accept fail, and a failed accept closes the listening socket for good.
std::size_t ServerSocket::KeptDescriptors() const {
    return DescriptorReserve() +
           (callbacks_.descriptorsForOthers == nullptr ? 0 : callbacks_.descriptorsForOthers(callbacks_.context));
}

std::size_t ServerSocket::RoomForClients() const {
    const std::size_t kept = KeptDescriptors();
    const std::size_t numbers = CountFreeDescriptors(kClientNumbers, kClientNumbers);
    const std::size_t left = CountFreeDescriptors(kept + kClientNumbers);
    return std::min(numbers, left - std::min(left, kept));
}

void ServerSocket::AddClient(const ClientPointer& client) {
    MutexGuard guard = clients_.NewGuard();
    if (guard.Lock(kListLockTimeout)) {
        clients_.Add(client);
    }
    guard.Release();
    if (callbacks_.clientAccepted != nullptr) {
        callbacks_.clientAccepted(client->Descriptor(), callbacks_.context);
    }
}

void ServerSocket::CloseListener() {
    std::shared_ptr<OpenSocket> closed;
    listener_.With([&](std::shared_ptr<OpenSocket>& current) { current.swap(closed); });
    if (closed != nullptr) {
        closed->ShutDown();
    }
}

bool ServerSocket::Send(int descriptor, const std::vector<unsigned char>& data) {
    return SendTo(clients_.Find(descriptor), descriptor, data);
}

bool ServerSocket::Send(const ClientIdentity& client, const std::vector<unsigned char>& data) {
    return SendTo(clients_.Find(client), client.descriptor, data);
}

bool ServerSocket::SendTo(const ClientPointer& client, int descriptor, const std::vector<unsigned char>& data) {
    const Diagnostics::LogOperation operation(kSendOperation);
    MUX_LOG(plog::debug) << "Sending data to server client. Message data:" << std::string(data.begin(), data.end());
    if (data.empty()) {
        return true;
    }
    const auto outcome = client == nullptr ? ClientOutput::Outcome{EBADF} : client->Output().Send(data);
    if (outcome.error != 0) {
        FailSend(client, descriptor, outcome.error);
        return false;
    }
    if (callbacks_.dataSent != nullptr) {
        callbacks_.dataSent(descriptor, static_cast<int>(data.size()), callbacks_.context);
    }
    if (outcome.isNewlyPending) {
        watch_.Wake();
    }
    return true;
}

// Also when the send fails later, on the receive thread. The error's text needs memory; without it the line is missing,
// and the client is closed all the same.
void ServerSocket::FailSend(const ClientPointer& client, int descriptor, int error) {
    const Diagnostics::LogOperation operation(kSendOperation);
    try {
        MUX_LOG(plog::error) << "Cannot send data to server socket" << ErrorText(error) << "Socket " << descriptor
                             << " will be closed.";
    } catch (const std::bad_alloc&) {
    }
    CloseConnection(client, ListLock::kTake);
}

void ServerSocket::CloseClient(int descriptor, ListLock lock) {
    CloseConnection(clients_.Find(descriptor), lock);
}

void ServerSocket::CloseConnection(const ClientPointer& client, ListLock lock) {
    MutexGuard guard = clients_.NewGuard();
    if (lock == ListLock::kTake) {
        guard.Lock();
    }
    const bool removed = clients_.Remove(client);
    guard.Release();
    if (!removed) {
        return;
    }
    client->ShutDown();
    if (callbacks_.clientDeleted != nullptr) {
        callbacks_.clientDeleted(client->Descriptor(), callbacks_.context);
    }
}

std::vector<int> ServerSocket::ConnectedDescriptors() {
    std::vector<int> descriptors;
    for (const ClientIdentity& client : ConnectedClients()) {
        descriptors.push_back(client.descriptor);
    }
    return descriptors;
}

std::vector<ClientIdentity> ServerSocket::ConnectedClients() {
    MutexGuard guard = clients_.NewGuard();
    guard.Lock();
    return clients_.Identities();
}

ClientIdentity ServerSocket::IdentityOf(int descriptor) {
    const ClientPointer client = clients_.Find(descriptor);
    return client == nullptr ? ClientIdentity{descriptor, 0} : client->Identity();
}

}  // namespace Brenk::Net
