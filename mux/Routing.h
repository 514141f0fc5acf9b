#pragma once

#include "mux/GatewayRegistry.h"
#include "mux/messages/MuxMessage.h"

namespace Mux {

// Logs what a client asks for, under the operation of the caller. Nothing for a code that is not routed. Any thread.
void LogReceivedRequest(const MuxMessage& message);

// Hands a request to the gateway named in its payload, using the operation of its code in the request table. `context`
// goes to that operation and returns with the gateway's answer. False, usually with a log line under the caller's
// operation, without such a gateway, code, operation or payload, or if the gateway refuses.
bool RouteToGateway(const MuxMessage& message, const GatewayCollections& gateways, void* context);

}  // namespace Mux
