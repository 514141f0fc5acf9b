#pragma once

#include <cstdint>

#include "gateway/VirtualGateway.h"
#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// One request on its way into a gateway operation.
struct RoutedRequest {
    Brenk::VirtualGateway& gateway;
    const std::string& messageID;
    MuxLockRequestPayload& payload;
    bool isEventResponse;  // the request answers a card-reader event
    void* context;         // handed to the operation, comes back with the gateway's answer
};

// What the Mux does with one message code that clients send.
struct Route {
    // Calls the gateway operation; false when the gateway refuses the request.
    using Operation = bool (*)(const RoutedRequest& request);

    std::int32_t messageCode;
    const char* logName;          // how the log names it when it is sent on
    const char* codeName;         // how the log names it elsewhere
    const char* noPayloadText;    // logged when the message has no usable payload; may be empty
    const char* unsupportedText;  // logged when there is no operation; may be empty
    bool isEventResponse;
    Operation operation;  // null: the code is known but not supported
};

// The row of a message code; null for a code that is not routed. Any thread.
const Route* FindRoute(std::int32_t messageCode);

}  // namespace Mux
