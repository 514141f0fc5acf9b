// The life of the Mux: its threads, its flags and the delivery of answers and events.

#include "mux/BrenkMux.h"

#include <cxxabi.h>

#include <chrono>
#include <new>
#include <optional>
#include <utility>

#include "diagnostics/CaughtException.h"
#include "diagnostics/Log.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "threading/OwnerBlock.h"
#include "threading/Sleep.h"

namespace Mux {
namespace {

using Brenk::Net::ServerSocket;
using Threading::MutexGuard;

constexpr std::size_t kAllocatorChunkBytes = 65536;
constexpr std::chrono::milliseconds kPassPeriod{1};
constexpr std::chrono::milliseconds kPauseAfterNullRecord{10};
constexpr int kDeliveryTimeout = 5;
constexpr int kMaximumSendAttempts = 15;
constexpr const char* kAnswerNotSent = "Cannot send message to socket with FD ";
constexpr const char* kEventNotSent = "Cannot send event to socket with FD ";
constexpr std::size_t kFewClients = 8;

}  // namespace

BrenkMux::BrenkMux() : BrenkMux(ServerSocket::kDefaultPort) {}

BrenkMux::BrenkMux(int port)
    : port_(port),
      gateways_(std::make_shared<const GatewayCollections>()),
      allocatorChunk_(std::make_unique<unsigned char[]>(kAllocatorChunkBytes)),
      allocator_(allocatorChunk_.get(), kAllocatorChunkBytes, kAllocatorChunkBytes) {
    InitMutexes();
}

BrenkMux::~BrenkMux() {
    StopAndJoin();
    DestroyVirtualGateways();
    ownedServerSocket_.reset();
    DestroyMutexes();
}

void BrenkMux::StopAndJoin() {
    running_ = false;
    gatewaysRunning_ = false;
    for (const auto* thread : {&mainThread_, &gatewaysThread_}) {
        if (*thread != nullptr) {
            (*thread)->Join();
        }
    }
}

void BrenkMux::InitMutexes() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Initializing thread mutexes for multithread sync.";
    MUX_LOG(plog::verbose) << "Mutexes for multithread initialized.";
}

void BrenkMux::DestroyMutexes() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Destroying thread mutexes for multithread sync.";
    requests_.DestroyMutex();
    answers_.DestroyMutex();
    pending_.DestroyMutex();
    MUX_LOG(plog::verbose) << "Thread mutexes destroyed.";
}

void BrenkMux::Start() {
    MUX_OPERATION();
    if (running_) {
        return;
    }
    mainThread_ = std::make_unique<Threading::Thread>(mainThreadProc);
    running_ = true;
    gatewaysRunning_ = true;
    if (!Threading::StartWithOwner(*mainThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn main thread. Shutdown Mux.";
        ForceShutdown();
        return;
    }
    MUX_LOG(plog::info) << "Main thread spawned.";
}

void BrenkMux::Wait() {
    MUX_OPERATION();
    if (mainThread_ == nullptr) {
        return;
    }
    try {
        mainThread_->Join();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        MUX_LOG(plog::error) << Diagnostics::CaughtException().Text();
    }
}

void BrenkMux::ForceShutdown() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Force shutdown initiated";
    running_ = false;
    gatewaysRunning_ = false;
}

void BrenkMux::Stop() {
    if (running_) {
        running_ = false;
        gatewaysRunning_ = false;
    }
}

void* BrenkMux::mainThreadProc(void* muxBlock) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "Mux main thread is now running on the main process.";
    auto* const mux = Threading::TakeOwner<BrenkMux>(muxBlock);
    if (mux == nullptr) {
        pthread_exit(nullptr);
    }
    mux->RunMainThread();
    MUX_LOG(plog::warning) << "Mux main thread is closing.";
    pthread_exit(nullptr);
}

void BrenkMux::RunMainThread() {
    gatewaysThread_ = std::make_unique<Threading::Thread>(gatewaysThreadProc);
    if (!Threading::StartWithOwner(*gatewaysThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn virtual gateways thread. Shutdown Mux.";
        ForceShutdown();
        return;
    }
    MUX_LOG(plog::info) << "Virtual gateways thread spawned.";

    if (ownedServerSocket_ == nullptr) {
        StartServerSocket();
    }
    MUX_LOG(plog::verbose) << "All modules threads spawned. Starting main thread control loop.";
    while (running_) {
        try {
            SendMessageToClientIfAvailable();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            MUX_LOG(plog::error) << "Exception in the main loop: " << Diagnostics::CaughtException().Text();
        }
        Threading::SleepFor(kPassPeriod);
    }
}

void BrenkMux::StartServerSocket() {
    ownedServerSocket_ = std::make_unique<ServerSocket>(port_);
    ownedServerSocket_->SetContext(this);
    ownedServerSocket_->SetClientAcceptedCallback(ServerSocketClientAccepted);
    ownedServerSocket_->SetDataReceivedCallback(ServerSocketClientDataReceived);
    ownedServerSocket_->SetClientDeletedCallback(ServerSocketClientDeleted);
    ownedServerSocket_->SetDescriptorsForOthersCallback(DescriptorsForGateways);
    serverSocket_ = ownedServerSocket_.get();
    if (!ownedServerSocket_->InitSocket()) {
        MUX_LOG(plog::error) << "Error detected on socket. Initialization. Shutdown Mux.";
        ForceShutdown();
        return;
    }
    MUX_LOG(plog::debug) << "Server socket initialized.";
    if (!ownedServerSocket_->StartAcceptLoop() || !ownedServerSocket_->StartReceiveLoop()) {
        ForceShutdown();
        return;
    }
    WarnOfLittleRoom();
}

void BrenkMux::WarnOfLittleRoom() {
    const std::size_t room = ownedServerSocket_->RoomForClients();
    if (room < kFewClients) {
        MUX_LOG(plog::warning) << "There is room for " << room
                               << " clients only. The process is allowed too few file descriptors.";
    }
}

void* BrenkMux::gatewaysThreadProc(void* muxBlock) {
    MUX_OPERATION();
    auto* const mux = Threading::TakeOwner<BrenkMux>(muxBlock);
    if (mux == nullptr) {
        pthread_exit(nullptr);
    }
    mux->RunGatewaysThread();
    MUX_LOG(plog::debug) << "GatewaysThreadProc thread procedure closing.";
    pthread_exit(nullptr);
}

void BrenkMux::RunGatewaysThread() {
    while (gatewaysRunning_) {
        try {
            ConnectVirtualGateways();
            PopNextMessage();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            MUX_LOG(plog::error) << "Exception in the gateways loop: " << Diagnostics::CaughtException().Text();
        }
        Threading::SleepFor(kPassPeriod);
    }
}

bool BrenkMux::SendMessageToClientIfAvailable() {
    MUX_OPERATION();
    MutexGuard guard = answers_.NewGuard();
    if (!guard.Lock(kDeliveryTimeout)) {
        MUX_LOG(plog::warning) << "Cannot acquire resource mutex for send message to client queue.";
        return false;
    }
    const std::optional<MuxRequestRecord*> head = answers_.Head();
    if (!head) {
        return false;
    }
    if (*head == nullptr) {
        MUX_LOG(plog::error) << "Popped message answer is NULL!!!";
        answers_.DropHead();
        Threading::SleepFor(kPauseAfterNullRecord);
        return false;
    }
    return DeliverHead(**head);
}

// What fails for want of memory costs the record an attempt, so that it does not hold up those behind it for ever.
bool BrenkMux::DeliverHead(MuxRequestRecord& record) {
    try {
        return record.isEvent ? DeliverEvent(record) : DeliverAnswer(record);
    } catch (const std::bad_alloc&) {
        CountFailedDelivery(record, record.isEvent ? kEventNotSent : kAnswerNotSent);
        throw;
    }
}

bool BrenkMux::DeliverAnswer(MuxRequestRecord& record) {
    if (record.answer == nullptr) {
        MUX_LOG(plog::error) << "AnswerMessage part in the answer message record structure is missing.";
        answers_.DropHead();
        return false;
    }
    const std::string& id = record.answer->MessageID();
    MUX_LOG(plog::verbose) << "Message " << id << " popped.";
    const auto bytes = BytesOf(*record.answer);
    if (bytes == nullptr) {
        return false;
    }
    MUX_LOG(plog::info) << "Sending message answer with ID " << id << " to socket with FD " << record.socketFD;
    MUX_LOG(plog::verbose) << "Message payload: " << std::string(bytes->begin(), bytes->end());
    if (!SendToClient(record, *bytes)) {
        CountFailedDelivery(record, kAnswerNotSent);
        return false;
    }
    answers_.DropHead();
    MUX_LOG(plog::verbose) << "Message sent. Deallocating messages memory.";
    return true;
}

bool BrenkMux::DeliverEvent(MuxRequestRecord& record) {
    if (record.message == nullptr) {
        MUX_LOG(plog::error) << "Message part in the event record structure is missing.";
        answers_.DropHead();
        return false;
    }
    MUX_LOG(plog::verbose) << "Event message " << record.message->MessageID() << " popped.";
    const auto bytes = BytesOf(*record.message);
    if (bytes == nullptr) {
        return false;
    }
    MUX_LOG(plog::debug) << "Sending event to socket with FD " << record.socketFD;
    if (!SendToClient(record, *bytes)) {
        CountFailedDelivery(record, kEventNotSent);
        return false;
    }
    answers_.DropHead();
    MUX_LOG(plog::debug) << "Event sent. Deallocating messages memory.";
    return true;
}

std::unique_ptr<std::vector<unsigned char>> BrenkMux::BytesOf(MuxMessage& message) {
    // Something is left there when memory ran out.
    allocator_.Clear();
    auto bytes = MuxMessageBuilder().MessageToBytes(message, allocator_);
    allocator_.Clear();
    return bytes;
}

bool BrenkMux::SendToClient(const MuxRequestRecord& record, const std::vector<unsigned char>& bytes) {
    ServerSocket* const serverSocket = serverSocket_;
    return serverSocket != nullptr && serverSocket->Send(record.Client(), bytes);
}

void BrenkMux::CountFailedDelivery(MuxRequestRecord& record, const char* text) {
    ++record.sendAttempts;
    if (record.sendAttempts < kMaximumSendAttempts) {
        return;
    }
    MUX_LOG(plog::error) << text << record.socketFD << ". Tried " << record.sendAttempts
                         << ", I will delete the answer from queue.";
    answers_.DropHead();
}

void BrenkMux::ServerSocketClientAccepted(int descriptor, void* context) {
    MUX_OPERATION();
    if (context == nullptr) {
        return;
    }
    MUX_LOG(plog::verbose) << "Data callback hit.";
    MUX_LOG(plog::debug) << "Client with FD " << descriptor << " accepted.";
}

void BrenkMux::ServerSocketClientDeleted(int descriptor, void* context) {
    MUX_OPERATION();
    if (context == nullptr) {
        return;
    }
    MUX_LOG(plog::debug) << "Client deleted from list. FD " << descriptor;
}

}  // namespace Mux
