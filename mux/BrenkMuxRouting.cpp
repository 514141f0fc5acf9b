// Client requests: taken in from the server socket, queued, and handed to the gateway that they name.

#include <string_view>
#include <utility>

#include "diagnostics/Log.h"
#include "mux/BrenkMux.h"
#include "mux/Routing.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "net/MuxPacket.h"
#include "threading/CatchAll.h"

namespace Mux {
namespace {

using Brenk::Net::MuxPacket;
using Threading::MutexGuard;

constexpr int kPopTimeout = 5;
constexpr int kNackTimeout = 10;
constexpr std::int32_t kRequestErrorCode = 0;
constexpr const char* kRequestErrorText = "Error in request";

// Whether the data is a client packet. One that is shorter than a packet's header is none; clients may send such
// without end, so this must not cost an exception.
bool HoldsMuxPacket(std::vector<unsigned char>& data) {
    return data.size() >= MuxPacket::kHeaderSize && MuxPacket::IsMuxPacket(data);
}

std::string MessageIDOf(const MuxRequestRecord& record) {
    return record.message == nullptr ? "" : record.message->MessageID();
}

}  // namespace

void BrenkMux::ServerSocketClientDataReceived(int descriptor, std::vector<unsigned char>* data, void* context) {
    MUX_OPERATION();
    const std::unique_ptr<std::vector<unsigned char>> received(data);
    MUX_LOG(plog::verbose) << "Data callback hit.";
    if (context == nullptr || received == nullptr || !HoldsMuxPacket(*received)) {
        return;
    }
    const std::string_view text = MuxPacket(*received).MessageText();
    MUX_LOG(plog::debug) << "[Mux::ServerSocketClientDataReceived] - Data received from socket with FD " << descriptor
                         << ". Data size: " << received->size();
    MUX_LOG(plog::verbose) << "The string contained is: " << text << ". I will try to parse message.";
    received->resize(MuxPacket::kHeaderSize + text.size());
    received->erase(received->begin(), received->begin() + MuxPacket::kHeaderSize);
    static_cast<BrenkMux*>(context)->TranslateClientMessage(descriptor, *received);
}

void BrenkMux::TranslateClientMessage(int descriptor, std::vector<unsigned char>& payload) {
    MUX_OPERATION();
    MutexGuard guard = requests_.NewGuard();
    if (payload.empty()) {
        return;
    }
    MUX_LOG(plog::verbose) << "Message received is of size > 0.";
    const std::string_view json(reinterpret_cast<const char*>(payload.data()), payload.size());
    MUX_LOG(plog::debug) << "Received message JSON: " << json;
    MessagePointer message = MuxMessageBuilder().ParseMessage(json);
    if (message == nullptr) {
        return;
    }
    MUX_LOG(plog::verbose) << "Parsed received message.";
    LogReceivedRequest(*message);
    if (message->MessageCode() == MUX_MESSAGE_CONFIGURE) {
        MUX_LOG(plog::warning) << "Configure via network message currently not supported.";
        return;
    }
    auto record = std::make_unique<MuxRequestRecord>(clients_.IdentityOf(descriptor), std::move(message));
    guard.Lock();
    const std::size_t count = requests_.Push(std::move(record));
    MUX_LOG(plog::debug) << "Message enqueued. The queue is currently " << count << " elements long.";
    guard.Release();
}

void BrenkMux::PopNextMessage() {
    MUX_OPERATION();
    MutexGuard clientGuard = requests_.NewGuard();
    const auto pop = [&] {
        if (!clientGuard.Lock(kPopTimeout)) {
            MUX_LOG(plog::warning) << "Cannot acquire client messages queue lock.";
            return;
        }
        if (RecordPointer record = requests_.Take()) {
            ForwardRequest(std::move(record));
        }
    };
    Threading::CatchAll(pop, [&](const char* text) {
        MUX_LOG(plog::error) << "Exception throw in pop next message flow.";
        MUX_LOG(plog::verbose) << "Explicit release of mutex guards.";
        clientGuard.Release();
        MUX_LOG(plog::debug) << "The exception was: " << text;
    });
}

void BrenkMux::ForwardRequest(RecordPointer record) {
    const std::string messageID = Diagnostics::IsLogged(plog::verbose) ? MessageIDOf(*record) : "";
    MUX_LOG(plog::verbose) << "Popped MuxRequestInfo with ID " << messageID << " for socket with FD "
                           << record->socketFD << ".";
    MuxRequestRecord* const handedOver = record.release();
    if (SendMessageToVG(handedOver)) {
        MUX_LOG(plog::verbose) << "Message " << messageID << " sent to VG.";
        return;
    }
    record.reset(handedOver);
    if (record->message != nullptr) {
        AnswerWithNack(std::move(record));
    }
}

void BrenkMux::AnswerWithNack(RecordPointer record) {
    Threading::CatchAll([&] { EnqueueNack(std::move(record)); },
                        [](const char* text) {
                            MUX_LOG(plog::error) << "Exception thrown in enqueuing messages.";
                            MUX_LOG(plog::verbose) << "Explicit release of mutex guards.";
                            MUX_LOG(plog::debug) << "The exception was: " << text;
                        });
}

void BrenkMux::EnqueueNack(RecordPointer record) {
    MuxMessageBuilder builder;
    const std::string messageID = record->message->MessageID();
    record->answer = builder.BuildMessage(MUX_MESSAGE_NACK, messageID,
                                          builder.BuildNackPayload(kRequestErrorCode, kRequestErrorText));
    MUX_LOG(plog::warning) << "Enqueuing NACK mux answer " << messageID << " to the client.";
    MutexGuard guard = answers_.NewGuard();
    if (!guard.Lock(kNackTimeout)) {
        MUX_LOG(plog::error) << "Cannot acquire mux message lock for enqueued messages. The current message to "
                                "enqueue will be lost.";
        return;
    }
    const std::size_t count = answers_.Push(std::move(record));
    MUX_LOG(plog::warning) << "Enqueued error NACK answer message with ID " << messageID << ". Currently, the Mux have "
                           << count << " messages in the answer queue, ready to be sent to clients.";
}

// The record is in the pending list before the gateway has the request: its answer may come while this thread is still
// on the way back. On refusal it is taken out again.
bool BrenkMux::SendMessageToVG(MuxRequestRecord* record) {
    MUX_OPERATION();
    RecordPointer owned(record);
    const auto refuse = [&owned] {
        static_cast<void>(owned.release());
        return false;
    };
    MutexGuard guard = pending_.NewGuard();
    MUX_LOG(plog::debug) << "SendMessageToVG MutexGuard acquired ";
    if (owned == nullptr || owned->message == nullptr) {
        return refuse();
    }
    const MessagePointer message = owned->message;
    const bool isPending = pending_.Add(owned);
    bool isAccepted = false;
    try {
        isAccepted = RouteToGateway(*message, *Gateways(), this);
    } catch (...) {
        // The request is lost. Left in the list it would keep later ones of its ID from being answered.
        owned = pending_.TakeBack(record, message->MessageID());
        throw;
    }
    if (isAccepted) {
        MUX_LOG(plog::info) << "Message correctly enqueued by Virtual Gateway. MessageID: " << message->MessageID();
        guard.Lock();
        // Of requests with the same ID the first stays pending; this one is freed and its client gets no answer.
        owned.reset();
        guard.Release();
        return true;
    }
    MUX_LOG(plog::debug) << "Message not correctly enqueued by Virtual Gateway. MessageID: " << message->MessageID();
    if (isPending) {
        owned = pending_.TakeBack(record, message->MessageID());
    }
    return owned == nullptr || refuse();
}

}  // namespace Mux
