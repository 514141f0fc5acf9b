// The request queue of one gateway and the thread that sends it.

#include <chrono>
#include <list>
#include <utility>

#include "diagnostics/Log.h"
#include "gateway/RequestSending.h"
#include "gateway/VirtualGateway.h"
#include "messages/Exceptions.h"
#include "threading/CatchAll.h"
#include "threading/MutexGuard.h"
#include "threading/Thread.h"

namespace Brenk {
namespace {

using Threading::MutexGuard;

constexpr int kEnqueueTimeout = 5;
constexpr int kSendTimeout = 5;
constexpr std::chrono::milliseconds kSendPeriod{300};
constexpr std::uint32_t kAddressWithoutLock = 0x100;

}  // namespace

void VirtualGateway::EnqueueMessage(std::string id, Messages::BrenkMessage* message, void* context) {
    MessagePointer owned(message);
    try {
        Enqueue(std::move(id), owned, context);
    } catch (...) {
        static_cast<void>(owned.release());
        throw;
    }
    static_cast<void>(owned.release());
}

// The work of EnqueueMessage. Takes the message out of `message` only when it is queued.
void VirtualGateway::Enqueue(std::string id, MessagePointer& message, void* context) {
    const Diagnostics::LogOperation operation(
        "void Brenk::VirtualGateway::EnqueueMessage(std::string, Brenk::Messages::BrenkMessage*, void*)");
    if (message == nullptr) {
        MUX_LOG(plog::error) << "Message is nullptr";
        throw new ArgumentNullException;
    }
    if (context == nullptr) {
        throw new ArgumentNullException;
    }
    MutexGuard guard = waitingMessagesMutex_.NewGuard();
    if (!guard.Lock(kEnqueueTimeout)) {
        MUX_LOG(plog::error) << "Cannot enqueue message with ID " << id << "and reference ID "
                             << static_cast<char>(message->ReferenceID());
        return;
    }
    // All that needs memory comes before the message is taken.
    std::list<RequestQueue::Request> built = {std::make_shared<MessageRequestInfo>()};
    MessageRequestInfo& request = *built.front();
    request.id = std::move(id);
    request.referenceID = message->ReferenceID();
    request.message = std::move(message);
    request.context = context;
    request.enqueueTime = std::time(nullptr);
    MUX_LOG(plog::verbose) << "RequestInfo built.";
    queue_.Append(built);
    MUX_LOG(plog::verbose) << "RequestInfo pushed to messagesQueue.";
}

bool VirtualGateway::EnqueueRefreshSequenceCounter() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Refreshing sequence couter.";
    if (builder_ == nullptr) {
        MUX_LOG(plog::error) << "Message builder is null.";
        return false;
    }
    MessagePointer message = builder_->BuildGetStatus(kAddressWithoutLock);
    if (message == nullptr) {
        MUX_LOG(plog::error) << "Cannot allocate refresh counter message.";
        return false;
    }
    const std::string id = MessageRequestInfo::kSequenceRefreshMark + std::to_string(std::time(nullptr));
    Enqueue(id, message, owner_.Current()->context);
    MUX_LOG(plog::verbose) << "Sequence Counter refresh enqueued.";
    return true;
}

void VirtualGateway::SendGetStatusKeepAlive() {
    MUX_OPERATION();
    if (!queue_.BeginKeepAlive(std::time(nullptr))) {
        return;
    }
    MUX_LOG(plog::verbose) << "Enquequing keep alive Get status.";
    EnqueueRefreshSequenceCounter();
}

void* VirtualGateway::sendThreadProc(void* gatewayBlock) {
    MUX_OPERATION();
    auto* const gateway = Threading::TakeOwner<VirtualGateway>(gatewayBlock);
    MUX_LOG(plog::verbose) << "Send thread spawned.";
    if (gateway == nullptr) {
        MUX_LOG(plog::error) << "CurrentGateway is null.";
        pthread_exit(nullptr);
    }
    gateway->SendLoop();
    MUX_LOG(plog::debug) << "Closing send thread.";
    pthread_exit(nullptr);
}

void VirtualGateway::SendLoop() {
    while (threads_.stop.SleepFor(kSendPeriod)) {
        Threading::CatchAll([this] { SendCycle(); },
                            [this](const char* text) {
                                MUX_LOG(plog::error)
                                    << "Exception in the send loop of virtual gateway with ID " << ID() << ": " << text;
                            });
    }
}

void VirtualGateway::SendCycle() {
    // A keep-alive without the owner's context is refused, and the next one would come 27 s later: too late for a
    // gateway whose owner is just about to be set.
    if (!queue_.IsStarted()) {
        return;
    }
    SendGetStatusKeepAlive();
    MutexGuard guard = queueMutex_.NewGuard();
    if (!guard.Lock(kSendTimeout)) {
        MUX_LOG(plog::error) << "Cannot acquire lock for messages for send thread loop of virtual gateway with ID "
                             << ID();
        return;
    }
    RequestQueue::Request request;
    if (!queue_.Take(Status(), request)) {
        return;
    }
    if (request == nullptr) {
        MUX_LOG(plog::error) << "Error sending enqueued message ";
        return;
    }
    const std::time_t now = std::time(nullptr);
    queue_.SetLastSendTime(now);
    request->sendTime = now;
    SendRequest(request, builder_.get(), waiting_, connection_);
}

}  // namespace Brenk
