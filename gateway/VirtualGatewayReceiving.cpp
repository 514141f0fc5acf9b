// What comes from one gateway: frames cut out of its byte stream, answers matched to requests, events passed on.

#include <cxxabi.h>

#include <chrono>
#include <iomanip>
#include <new>
#include <optional>
#include <utility>

#include "diagnostics/CaughtException.h"
#include "diagnostics/HexText.h"
#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"
#include "messages/ArgumentNullException.h"
#include "messages/BrenkCardReaderMessagePayload.h"
#include "messages/BrenkPincodeMessagePayload.h"
#include "messages/BrenkResponseCode.h"
#include "messages/BrenkResponsePayload.h"
#include "messages/CommandCodes.h"
#include "threading/Cancellation.h"
#include "threading/OwnerBlock.h"

namespace Brenk {
namespace {

using Messages::VG::VirtualGatewayEventMessage;
using Messages::VG::VirtualGatewayResponseMessage;
using Threading::MutexGuard;

constexpr std::chrono::milliseconds kReadPeriod{300};
constexpr int kAnswerTimeout = 10;

// The reference ID has six bits; the two above it are the gateway's.
constexpr std::uint8_t kReferenceIDMask = 0x3F;
constexpr std::uint8_t kReferenceIDMaskOfOtherOrder = 0xFC;

constexpr std::uint8_t kEventTypes[] = {14, 15, 17, 18, 22};

struct ResultText {
    std::uint8_t code;
    const char* text;
};

// Results that are passed on to the owner with a warning of their own.
constexpr ResultText kResultWarnings[] = {
    {Messages::BRENK_RESPONSE_ALREADY_IN_WHITELIST,
     "Requested to add a new whitelist entry, but this value is already in the whitelist"},
    {Messages::BRENK_RESPONSE_WHITELIST_FULL, "Requested to add a new whitelist entry, but the whitelist is full."},
    {Messages::BRENK_RESPONSE_NOT_IN_WHITELIST,
     "Requested to remove whitelist entry, but this value is not in the whitelist"},
    {Messages::BRENK_RESPONSE_DATA_LENGTH_MISMATCH,
     "Requested an operation to the device whitelist, but the length of the data mismatch required length."},
    {Messages::BRENK_RESPONSE_MESSAGE_UNESPECTED, "Response from gateway: MESSAGE_UNESPECTED."},
};

const char* FindResultWarning(std::uint8_t code) {
    for (const ResultText& result : kResultWarnings) {
        if (result.code == code) {
            return result.text;
        }
    }
    return nullptr;
}

std::string DataOf(const Messages::BrenkReaderEventPayload& payload) {
    return Diagnostics::BytesToHex(payload.Data(), "");
}

}  // namespace

void* VirtualGateway::readThreadProc(void* gatewayBlock) {
    MUX_OPERATION();
    auto* const gateway = Threading::TakeOwner<VirtualGateway>(gatewayBlock);
    MUX_LOG(plog::debug) << "Read thread spawned.";
    if (gateway == nullptr) {
        MUX_LOG(plog::error) << "CurrentGateway is null.";
        pthread_exit(nullptr);
    }
    gateway->ReadLoop();
    MUX_LOG(plog::debug) << "Closing read thread.";
    pthread_exit(nullptr);
}

LETS_CANCELLATION_PASS void VirtualGateway::ReadLoop() {
    while (stop_.SleepFor(kReadPeriod)) {
        try {
            ReadCycle();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            MUX_LOG(plog::error) << "Exception in the read loop of virtual gateway with ID " << ID() << ": "
                                 << Diagnostics::CaughtException().Text();
        }
    }
}

void VirtualGateway::ReadCycle() {
    if (!connection_.IsIn({CONNECTED, READY})) {
        return;
    }
    const bool received =
        receiver_.ReceiveWith([this](std::vector<unsigned char>& bytes) { return connection_.Receive(bytes); });
    ManageReceivedFrames();
    if (!received) {
        ReconnectAfterPendingError();
    }
}

// Looks and acts in one: a connection that another thread has made meanwhile is not dropped for the error of the last.
void VirtualGateway::ReconnectAfterPendingError() {
    const Connection::Lock lock = connection_.Hold();
    if (!connection_.HasPendingError()) {
        return;
    }
    MUX_LOG(plog::debug) << "[VirtualGateway::readThreadProc] Socket in error. Try a reconnect.";
    Disconnect();
    Connect(true);
}

void VirtualGateway::ManageReceivedFrames() {
    while (Messages::BrenkMessage* const frame = FetchAndTranslateMessage()) {
        const std::time_t now = std::time(nullptr);
        MUX_LOG(plog::debug) << "Managing new message";
        ManageBrenkGatewayResponse(frame, now);
    }
}

Messages::BrenkMessage* VirtualGateway::FetchAndTranslateMessage() {
    MUX_OPERATION();
    return receiver_.Next(builder_.get()).release();
}

bool VirtualGateway::IsEventMessageType(const Messages::BrenkMessage* message) {
    if (message == nullptr) {
        throw new ArgumentNullException;
    }
    for (const std::uint8_t type : kEventTypes) {
        if (message->PayloadType() == type) {
            return true;
        }
    }
    return false;
}

LETS_CANCELLATION_PASS void VirtualGateway::ManageBrenkGatewayResponse(Messages::BrenkMessage* message,
                                                                       std::time_t receiveTime) {
    MUX_OPERATION();
    MessagePointer frame(message);
    if (frame == nullptr) {
        return;
    }
    MutexGuard guard = waitingMessagesMutex_.NewGuard();
    try {
        if (IsEventMessageType(frame.get())) {
            ManageEvent(*frame);
        } else if (guard.Lock(kAnswerTimeout)) {
            ManageAnswer(*frame, receiveTime);
        } else {
            MUX_LOG(plog::error) << "Cannot acquire Mutex of Brenk Gateway Response.";
        }
        guard.Release();
        MUX_LOG(plog::verbose) << "Clear memory for the parsed response message.";
        frame.reset();
        MUX_LOG(plog::verbose) << "Ended management.";
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        const Diagnostics::CaughtException caught;
        MUX_LOG(plog::error) << "Exception in Brenk Response message loop. Manually releasing mutexes.";
        MUX_LOG(plog::debug) << "The exception was: " << caught.Text();
        ReleaseAfterException(guard, frame);
    }
}

// Neither step is a cancellation point.
void VirtualGateway::ReleaseAfterException(MutexGuard& guard, MessagePointer& frame) {
    try {
        guard.Release();
        frame.reset();
    } catch (...) {
        MUX_LOG(plog::error) << "Cannot deallocate memory for message objects. Maybe already deallocated.";
    }
}

void VirtualGateway::ManageEvent(const Messages::BrenkMessage& frame) {
    if (owner_.Current()->eventReceived == nullptr) {
        MUX_LOG(plog::warning) << "No callback for events is set. The event will be ignored.";
        return;
    }
    auto event = std::make_unique<VirtualGatewayEventMessage>();
    event->eventType = frame.PayloadType();
    event->deviceAddress = static_cast<std::uint16_t>(frame.DeviceAddress());
    const bool isPin = frame.PayloadType() == Messages::CommandCodes::kPincodeEvent;
    event->data = isPin ? PinDataOf(frame) : CardDataOf(frame);
    owner_.TellEvent(std::move(event));
}

std::string VirtualGateway::CardDataOf(const Messages::BrenkMessage& frame) const {
    const auto* const payload = dynamic_cast<const Messages::BrenkCardReaderMessagePayload*>(frame.Payload());
    if (payload == nullptr) {
        MUX_LOG(plog::error) << "cardReaderPayload is NULL!";
    }
    std::string data = payload == nullptr ? "" : DataOf(*payload);
    MUX_LOG(plog::debug) << "RFID received : " << data;
    return data;
}

std::string VirtualGateway::PinDataOf(const Messages::BrenkMessage& frame) const {
    MUX_LOG(plog::verbose) << "Current message CRC: " << std::hex << std::uppercase << frame.ComputeCRC16();
    if (frame.Payload() == nullptr) {
        MUX_LOG(plog::error) << "Current message payload is null.";
    }
    const auto* const payload = dynamic_cast<const Messages::BrenkPincodeMessagePayload*>(frame.Payload());
    if (payload == nullptr) {
        if (frame.Payload() != nullptr) {
            MUX_LOG(plog::warning) << "Payload type is not PinCode type. Current value: "
                                   << static_cast<char>(frame.Payload()->DataType());
        }
        MUX_LOG(plog::error) << "pinCodeReaderPayload is NULL!";
        return "";
    }
    MUX_LOG(plog::verbose) << "Payload is of type PinCode. Will be parsed for PIN.";
    std::string data = DataOf(*payload);
    MUX_LOG(plog::debug) << "PIN received : " << data;
    return data;
}

void VirtualGateway::ManageAnswer(Messages::BrenkMessage& frame, std::time_t receiveTime) {
    if (Diagnostics::IsLogged(plog::verbose)) {
        LogWaitingMessages(frame);
    }
    const auto referenceID = static_cast<std::uint8_t>(frame.ReferenceID() & kReferenceIDMask);
    std::optional<RequestPointer> found = waiting_.Find(referenceID);
    if (!found.has_value()) {
        MUX_LOG(plog::warning) << "A reply message was sent from gateway. But no request message was found in the "
                                  "waiting message map. The message is lost";
        return;
    }
    RequestPointer request = std::move(*found);
    if (request == nullptr) {
        return;
    }
    LogTimings(*request, receiveTime);
    try {
        PassAnswerOn(frame, *request);
    } catch (const std::bad_alloc&) {
        // It has had its answer. That to another request with this reference ID would be taken for its own.
        waiting_.Remove(referenceID);
        throw;
    }

    MUX_LOG(plog::verbose) << "Clear memory for the request.";
    // Freed before the line below, until which its reference ID stays taken.
    request = waiting_.Release(referenceID);
    request.reset();
    MUX_LOG(plog::verbose) << "Remove the request from the pending list.";
    waiting_.Remove(referenceID);
}

void VirtualGateway::LogWaitingMessages(const Messages::BrenkMessage& frame) const {
    const int referenceID = frame.ReferenceID() & kReferenceIDMask;
    MUX_LOG(plog::verbose) << "ReplyReferenceID " << referenceID;
    MUX_LOG(plog::verbose) << "ReplyReferenceID LE" << (frame.ReferenceID() & kReferenceIDMaskOfOtherOrder);
    MUX_LOG(plog::verbose) << "ReplyReferenceID BE" << referenceID;
    const WaitingRequests::Map waiting = waiting_.Copy();
    MUX_LOG(plog::verbose) << "Waiting message count " << waiting.size();
    for (const auto& [key, request] : waiting) {
        MUX_LOG(plog::verbose) << "Message pending with refereceID " << referenceID << " and Message ID "
                               << (request == nullptr ? "" : request->id);
    }
}

void VirtualGateway::LogTimings(const MessageRequestInfo& request, std::time_t receiveTime) const {
    MUX_LOG(plog::debug) << "Message timings - from enqueue to send:"
                         << std::difftime(request.sendTime, request.enqueueTime)
                         << " sec, from send to receive: " << std::difftime(receiveTime, request.sendTime)
                         << " sec, total time: " << std::difftime(receiveTime, request.enqueueTime) << " sec";
}

void VirtualGateway::PassAnswerOn(Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
    if (owner_.Current()->responseReceived == nullptr) {
        MUX_LOG(plog::warning) << "No callback for message response is set. The message will be ignored.";
        return;
    }
    switch (frame.PayloadType()) {
        case Messages::CommandCodes::kGetStatus:
            PassStatusOn(frame, request);
            break;
        case Messages::CommandCodes::kResponse:
            PassResultOn(frame, request);
            break;
        default:
            MUX_LOG(plog::verbose) << "Received unmanaged message response.";
            owner_.TellResponse(nullptr, request.context);
    }
}

void VirtualGateway::PassStatusOn(Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
    MUX_LOG(plog::verbose) << "Received a MSG_GetStatus";
    if (dynamic_cast<Messages::BrenkGetStatusPayload*>(frame.Payload()) == nullptr) {
        MUX_LOG(plog::error) << "Cannot parse GetStatus message payload.";
        owner_.TellResponse(nullptr, request.context);
        return;
    }
    auto response = std::make_unique<VirtualGatewayResponseMessage>();
    response->requestID = request.id;
    response->requestCode = request.message->PayloadType();
    response->statusPayload.reset(static_cast<Messages::BrenkGetStatusPayload*>(frame.DetachPayload().release()));
    owner_.TellResponse(std::move(response), request.context);
}

void VirtualGateway::PassResultOn(const Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
    const auto* const payload = dynamic_cast<const Messages::BrenkResponsePayload*>(frame.Payload());
    if (payload == nullptr) {
        MUX_LOG(plog::error) << "Cannot parse the result of the request.";
        owner_.TellResponse(nullptr, request.context);
        return;
    }
    if (!IsForOwner(payload->ResponseCode(), payload->CurrentSequenceCounter(), request)) {
        return;
    }
    auto response = std::make_unique<VirtualGatewayResponseMessage>();
    response->requestID = request.id;
    response->requestCode = request.message->PayloadType();
    response->responseCode = payload->ResponseCode();
    owner_.TellResponse(std::move(response), request.context);
}

// Acts on a result code and returns whether the owner is to be told of it.
bool VirtualGateway::IsForOwner(std::uint8_t code, std::uint32_t sequenceCounter, const MessageRequestInfo& request) {
    switch (code) {
        case Messages::BRENK_RESPONSE_OK:
            return IsOkForOwner(request);
        case Messages::BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR:
            return IsNoRouteForOwner(request);
        case Messages::BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR:
            TakeOverSequenceCounter(sequenceCounter);
            return false;
        default:
            break;
    }
    if (const char* const text = FindResultWarning(code)) {
        MUX_LOG(plog::warning) << text;
    } else {
        MUX_LOG(plog::warning) << "Response core from gateway: " << static_cast<int>(code);
    }
    return true;
}

bool VirtualGateway::IsOkForOwner(const MessageRequestInfo& request) const {
    if (!request.IsSequenceRefresh()) {
        MUX_LOG(plog::info) << "Response from gateway: OK for message with ID " << request.id;
        return true;
    }
    MUX_LOG(plog::debug) << "The gateway anwser is for a NEW SEQ request but the seq code is correct. MessageID "
                         << request.id;
    MUX_LOG(plog::debug) << "The callback will be excluded.";
    return false;
}

bool VirtualGateway::IsNoRouteForOwner(const MessageRequestInfo& request) const {
    if (!request.IsSequenceRefresh()) {
        MUX_LOG(plog::debug) << "Receied BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR.";
        return true;
    }
    MUX_LOG(plog::debug) << "The gateway answer is for a NEW SEQ but the gateway cannot find a route to the device. "
                            "Maybe it's a keep alive packet.";
    MUX_LOG(plog::debug) << "The callback will be excluded.";
    return false;
}

void VirtualGateway::TakeOverSequenceCounter(std::uint32_t sequenceCounter) {
    if (builder_ == nullptr) {
        return;
    }
    MUX_LOG(plog::debug) << "Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is "
                         << builder_->SequenceCounter();
    builder_->StoreSequenceCounter(sequenceCounter);
    MUX_LOG(plog::warning) << "Received new sequence number. The current SEQ is " << sequenceCounter;
    sequenceCounterKnown_ = true;
    if (Status() != READY) {
        connection_.ChangeStatus(READY);
    }
}

}  // namespace Brenk
