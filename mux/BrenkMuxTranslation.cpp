// Gateway answers and events: turned into what clients understand and queued for them.

#include <ctime>
#include <utility>

#include "diagnostics/Log.h"
#include "gateway/RequestQueue.h"
#include "mux/AnswerBuilder.h"
#include "mux/BrenkMux.h"
#include "mux/EventBuilder.h"

namespace Mux {
namespace {

using Brenk::VirtualGateway;
using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using Threading::MutexGuard;

constexpr int kEventTimeout = 15;

void LogUnknownAnswer(const VirtualGatewayResponseMessage* response) {
    if (response == nullptr) {
        MUX_LOG(plog::warning) << "Received a message from Virtual Gateway that is not in the requests list. And it's "
                                  "also nullptr.";
    } else if (Brenk::MessageRequestInfo::IsSequenceRefresh(response->requestID)) {
        MUX_LOG(plog::debug) << "Received a message from Virtual Gateway that is not in the request list, but it's a "
                                "NEW SEQ REQUEST. Probably used as a keep alive for the gateway.";
    } else {
        MUX_LOG(plog::warning) << "Received a message from Virtual Gateway with ID " << response->requestID
                               << " that is not in the requests list.";
    }
}

}  // namespace

void BrenkMux::VirtualGatewayResponseReceivedCallback(VirtualGateway* gateway, VirtualGatewayResponseMessage* response,
                                                      void* context) {
    MUX_OPERATION();
    const std::unique_ptr<VirtualGatewayResponseMessage> owned(response);
    if (owned == nullptr) {
        MUX_LOG(plog::error) << "Virtual Gateway message is nullptr.";
    }
    if (context == nullptr) {
        MUX_LOG(plog::error) << "No callback state set!";
        return;
    }
    if (owned != nullptr) {
        MUX_LOG(plog::debug) << "Gateway \"" << gateway->ID() << "\" sent an answer for message with ID "
                             << owned->requestID;
    }
    MUX_LOG(plog::debug) << "Invoking TranslateMessage callback.";
    static_cast<BrenkMux*>(context)->TranslateVirtualGatewayMessage(gateway, owned.get());
}

void BrenkMux::TranslateVirtualGatewayMessage(VirtualGateway* gateway, VirtualGatewayResponseMessage* response) {
    MUX_OPERATION();
    MutexGuard guard = pending_.NewGuard();
    guard.Lock();
    RecordPointer record = response == nullptr ? nullptr : pending_.Take(response->requestID);
    if (record == nullptr) {
        LogUnknownAnswer(response);
        return;
    }
    MUX_LOG(plog::debug) << "Found message with ID " << response->requestID << " sent from gateway \"" << gateway->ID()
                         << "\". Answer message to client will be built.";
    guard.Release();
    auto answer = BuildAnswer(*record->message, *response, gateway->ID());
    EnqueueAnswer(std::move(record), std::move(answer));
}

void BrenkMux::EnqueueAnswer(RecordPointer record, std::unique_ptr<MuxMessage> answer) {
    if (answer == nullptr) {
        MUX_LOG(plog::error) << "Answer message is nullptr. This means that we cannot build a correct answer for this "
                                "message. Removed from the pending queue.";
        MUX_LOG(plog::error) << "Cannot enqueue a NULL answer message!";
        return;
    }
    const std::string messageID = answer->MessageID();
    record->answer = std::move(answer);
    MUX_LOG(plog::debug) << "Enqueuing mux answer " << messageID << " to client.";
    MutexGuard guard = answers_.NewGuard();
    guard.Lock();
    const std::size_t count = answers_.Push(std::move(record));
    MUX_LOG(plog::verbose) << "Enqueued mux answer message with ID " << messageID << ". Currently, the Mux have "
                           << count << " messages in the answer queue, ready to be sent to clients.";
}

void BrenkMux::VirtualGatewayEventReceivedCallback(VirtualGateway* gateway, VirtualGatewayEventMessage* event,
                                                   void* context) {
    MUX_OPERATION();
    const std::unique_ptr<VirtualGatewayEventMessage> owned(event);
    if (context == nullptr) {
        MUX_LOG(plog::error) << "No callback state set!";
        return;
    }
    MUX_LOG(plog::debug) << "[BrenkMux::VirtualGatewayEventReceivedCallback] Gateway \"" << gateway->ID()
                         << "\" sent an event for device with address " << owned->deviceAddress;
    MUX_LOG(plog::debug) << "Invoking TranslateMessage callback.";
    static_cast<BrenkMux*>(context)->TranslateVirtualGatewayEvent(gateway, owned.get());
}

void BrenkMux::TranslateVirtualGatewayEvent(VirtualGateway* gateway, VirtualGatewayEventMessage* event) {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Received an event from Virtual Gateway with ID " << gateway->ID() << " of type "
                        << static_cast<int>(event->eventType) << ".";
    EnqueueEvent(BuildEventMessage(gateway->ID(), *event, std::time(nullptr)));
}

void BrenkMux::EnqueueEvent(const MessagePointer& message) {
    MutexGuard guard = answers_.NewGuard();
    if (!guard.Lock(kEventTimeout)) {
        MUX_LOG(plog::error) << "Cannot acquire resources lock for enqueuing current Mux Message Event. The event "
                                "will be lost.";
        return;
    }
    for (const Brenk::Net::ClientIdentity& client : clients_.Connected()) {
        answers_.Push(std::make_unique<MuxRequestRecord>(client, message, true));
    }
}

}  // namespace Mux
