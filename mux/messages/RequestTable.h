#pragma once

#include <cstdint>
#include <memory>

#include "json/RapidJson.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/Payload.h"

namespace Mux {

class MuxMessageBuilder;

// What a gateway is asked to do for a request.
enum class GatewayOperation {
    kNone,  // the request is not routed
    kGetStatus,
    kOpenLock,
    kCloseLock,
    kOpenCloseLock,
    kDenyAccess,
    kAddCard,
    kRemoveCard,
    kClearWhitelist,
    kEnableWhitelist,
    kDisableWhitelist,
};

// What the client gets for the gateway's answer.
enum class AnswerKind {
    kNone,           // no gateway is asked
    kLockOperation,  // ACK with the result; NACK with error code 0 and the long text
    kLockStatus,     // ACK with the lock's status; NACK with the gateway's code and the short text
    kPlain,          // ACK without data; NACK with the gateway's code and the short text
};

// All that the Mux knows about one message code that clients send.
struct RequestKind {
    // Reads the message's "Data" object; null when it is refused.
    using Parser = std::unique_ptr<MuxMessagePayloadBase> (*)(MuxMessageBuilder& builder, rapidjson::Value& data);

    MuxMessageCodes code;
    const char* logName;   // its name in the log when it is sent on
    const char* codeName;  // its name in the log elsewhere
    Parser parse;          // null: no payload
    // The payload of a request with an operation is a MuxLockRequestPayload: with kOpenCloseLock a
    // MuxLockOpenCloseMessagePayload, with kAddCard and kRemoveCard a MuxWhitelistSetPayload.
    GatewayOperation operation;
    AnswerKind answer;            // kNone exactly where the operation is kNone
    bool answersEvent;            // the request answers a card-reader event
    const char* noPayloadText;    // logged when a request with an operation has no usable payload; may be empty
    const char* unsupportedText;  // logged when a request without an operation is to be routed; may be empty
};

// The row of a message code; null for a code that clients do not send. Any thread.
const RequestKind* FindRequest(std::int32_t messageCode);

}  // namespace Mux
