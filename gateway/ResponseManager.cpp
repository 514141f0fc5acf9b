#include "gateway/ResponseManager.h"

#include <iomanip>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "messages/AnswerPayloads.h"
#include "messages/Codes.h"
#include "messages/EventPayloads.h"

namespace Brenk {
namespace {

using Messages::VG::VirtualGatewayEventMessage;
using Messages::VG::VirtualGatewayResponseMessage;

// The reference ID has six bits; the two above it are the gateway's.
constexpr std::uint8_t kReferenceIDMask = 0x3F;
constexpr std::uint8_t kReferenceIDMaskOfOtherOrder = 0xFC;

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

std::string CardDataOf(const Messages::BrenkMessage& frame) {
    const auto* const payload = dynamic_cast<const Messages::BrenkCardReaderMessagePayload*>(frame.Payload());
    if (payload == nullptr) {
        MUX_LOG(plog::error) << "cardReaderPayload is NULL!";
    }
    std::string data = payload == nullptr ? "" : DataOf(*payload);
    MUX_LOG(plog::debug) << "RFID received : " << data;
    return data;
}

std::string NumberInHex(unsigned number) {
    std::ostringstream text;
    text << std::hex << std::uppercase << number;
    return text.str();
}

std::string PinDataOf(const Messages::BrenkMessage& frame) {
    MUX_LOG(plog::verbose) << "Current message CRC: " << NumberInHex(frame.ComputeCRC16());
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

void LogWaitingMessages(const Messages::BrenkMessage& frame, const WaitingRequests& requests) {
    const int referenceID = frame.ReferenceID() & kReferenceIDMask;
    MUX_LOG(plog::verbose) << "ReplyReferenceID " << referenceID;
    MUX_LOG(plog::verbose) << "ReplyReferenceID LE" << (frame.ReferenceID() & kReferenceIDMaskOfOtherOrder);
    MUX_LOG(plog::verbose) << "ReplyReferenceID BE" << referenceID;
    const WaitingRequests::Map waiting = requests.Copy();
    MUX_LOG(plog::verbose) << "Waiting message count " << waiting.size();
    for (const auto& [key, request] : waiting) {
        MUX_LOG(plog::verbose) << "Message pending with refereceID " << referenceID << " and Message ID "
                               << (request == nullptr ? "" : request->id);
    }
}

void LogTimings(const MessageRequestInfo& request, std::time_t receiveTime) {
    MUX_LOG(plog::debug) << "Message timings - from enqueue to send:"
                         << std::difftime(request.sendTime, request.enqueueTime)
                         << " sec, from send to receive: " << std::difftime(receiveTime, request.sendTime)
                         << " sec, total time: " << std::difftime(receiveTime, request.enqueueTime) << " sec";
}

// Logs the result and returns whether the owner is to be told of it: not when it answers a sequence refresh.
bool HandleOk(const MessageRequestInfo& request) {
    if (!request.IsSequenceRefresh()) {
        MUX_LOG(plog::info) << "Response from gateway: OK for message with ID " << request.id;
        return true;
    }
    MUX_LOG(plog::debug) << "The gateway anwser is for a NEW SEQ request but the seq code is correct. MessageID "
                         << request.id;
    MUX_LOG(plog::debug) << "The callback will be excluded.";
    return false;
}

bool HandleNoRoute(const MessageRequestInfo& request) {
    if (!request.IsSequenceRefresh()) {
        MUX_LOG(plog::debug) << "Receied BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR.";
        return true;
    }
    MUX_LOG(plog::debug) << "The gateway answer is for a NEW SEQ but the gateway cannot find a route to the device. "
                            "Maybe it's a keep alive packet.";
    MUX_LOG(plog::debug) << "The callback will be excluded.";
    return false;
}

}  // namespace

ResponseManager::ResponseManager(std::shared_ptr<Messages::BrenkMessageBuilder> builder, WaitingRequests& waiting,
                                 Connection& connection, const OwnerLink& owner)
    : builder_(std::move(builder)), waiting_(waiting), connection_(connection), owner_(owner) {}

bool ResponseManager::IsSequenceCounterKnown() const {
    return sequenceCounterKnown_;
}

void ResponseManager::ForgetSequenceCounter() {
    sequenceCounterKnown_ = false;
}

void ResponseManager::ManageEvent(const Messages::BrenkMessage& frame) {
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

void ResponseManager::ManageAnswer(Messages::BrenkMessage& frame, std::time_t receiveTime) {
    if (Diagnostics::IsLogged(plog::verbose)) {
        LogWaitingMessages(frame, waiting_);
    }
    const auto referenceID = static_cast<std::uint8_t>(frame.ReferenceID() & kReferenceIDMask);
    std::optional<WaitingRequests::Request> found = waiting_.Find(referenceID);
    if (!found.has_value()) {
        MUX_LOG(plog::warning) << "A reply message was sent from gateway. But no request message was found in the "
                                  "waiting message map. The message is lost";
        return;
    }
    WaitingRequests::Request request = std::move(*found);
    if (request == nullptr) {
        return;
    }
    LogTimings(*request, receiveTime);
    try {
        ForwardAnswer(frame, *request);
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

void ResponseManager::ForwardAnswer(Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
    if (owner_.Current()->responseReceived == nullptr) {
        MUX_LOG(plog::warning) << "No callback for message response is set. The message will be ignored.";
        return;
    }
    switch (frame.PayloadType()) {
        case Messages::CommandCodes::kGetStatus:
            ForwardStatus(frame, request);
            break;
        case Messages::CommandCodes::kResponse:
            ForwardResult(frame, request);
            break;
        default:
            MUX_LOG(plog::verbose) << "Received unmanaged message response.";
            owner_.TellResponse(nullptr, request.context);
    }
}

void ResponseManager::ForwardStatus(Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
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

void ResponseManager::ForwardResult(const Messages::BrenkMessage& frame, const MessageRequestInfo& request) {
    const auto* const payload = dynamic_cast<const Messages::BrenkResponsePayload*>(frame.Payload());
    if (payload == nullptr) {
        MUX_LOG(plog::error) << "Cannot parse the result of the request.";
        owner_.TellResponse(nullptr, request.context);
        return;
    }
    if (!HandleResult(payload->ResponseCode(), payload->CurrentSequenceCounter(), request)) {
        return;
    }
    auto response = std::make_unique<VirtualGatewayResponseMessage>();
    response->requestID = request.id;
    response->requestCode = request.message->PayloadType();
    response->responseCode = payload->ResponseCode();
    owner_.TellResponse(std::move(response), request.context);
}

// Acts on a result code and returns whether the owner is to be told of it.
bool ResponseManager::HandleResult(std::uint8_t code, std::uint32_t sequenceCounter,
                                   const MessageRequestInfo& request) {
    switch (code) {
        case Messages::BRENK_RESPONSE_OK:
            return HandleOk(request);
        case Messages::BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR:
            return HandleNoRoute(request);
        case Messages::BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR:
            AdoptSequenceCounter(sequenceCounter);
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

void ResponseManager::AdoptSequenceCounter(std::uint32_t sequenceCounter) {
    if (builder_ == nullptr) {
        return;
    }
    MUX_LOG(plog::debug) << "Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is "
                         << builder_->SequenceCounter();
    builder_->StoreSequenceCounter(sequenceCounter);
    MUX_LOG(plog::warning) << "Received new sequence number. The current SEQ is " << sequenceCounter;
    sequenceCounterKnown_ = true;
    if (connection_.Status() != READY) {
        connection_.ChangeStatus(READY);
    }
}

}  // namespace Brenk
