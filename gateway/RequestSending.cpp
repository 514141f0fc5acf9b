#include "gateway/RequestSending.h"

#include <memory>
#include <new>
#include <vector>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"

namespace Brenk {
namespace {

void WriteRequest(MessageRequestInfo& request, Connection& connection) {
    const Messages::BrenkMessage& message = *request.message;
    const std::unique_ptr<std::vector<unsigned char>> bytes(request.message->Serialize());
    if (!request.IsSequenceRefresh()) {
        MUX_LOG(plog::info) << "Sending binary serialized message with ID " << request.id << ", code "
                            << static_cast<char>(message.PayloadType()) << " to address " << message.DeviceAddress();
    }
    MUX_LOG(plog::verbose) << "Message binary data: " << Diagnostics::BytesToHex(*bytes);
    MUX_LOG(plog::verbose) << "Sending binary serialized message with ID " << request.id << " to gateway socket send.";
    if (connection.Send(*bytes)) {
        MUX_LOG(plog::verbose) << "Binary serialized message with ID " << request.id << " and ReferenceID "
                               << static_cast<char>(request.referenceID) << " sent using gateway socket send.";
    } else {
        MUX_LOG(plog::error) << "Error sending enqueued message " << request.id
                             << " to current Virtual Gateway. Message removed from queue";
    }
}

}  // namespace

void SendRequest(const RequestQueue::Request& request, Messages::BrenkMessageBuilder* builder, WaitingRequests& waiting,
                 Connection& connection) {
    const Messages::SendTicket ticket = builder == nullptr ? Messages::SendTicket(0) : builder->BeginSend();
    const bool isWaiting = waiting.Add(request);
    try {
        WriteRequest(*request, connection);
    } catch (const std::bad_alloc&) {
        // It has not been sent. The answer to another request with this reference ID would be taken for its own.
        if (isWaiting) {
            waiting.Remove(request->referenceID);
        }
        throw;
    }
    if (builder != nullptr) {
        builder->AdvanceAfterSend(ticket);
    }
}

}  // namespace Brenk
