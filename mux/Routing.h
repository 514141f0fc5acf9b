#pragma once

#include "mux/GatewayRegistry.h"
#include "mux/messages/MuxMessage.h"

namespace Mux {

// Logs what a client asks for, under the operation of the caller. Nothing for a code that is not routed. Any thread.
void LogReceivedRequest(const MuxMessage& message);

// Hands a request to the gateway that its payload names, by the operation that the table of requests has for its code.
// `context` goes to that operation and comes back with the gateway's answer. False, most often with a log line under
// the operation of the caller, when there is no such gateway, code, operation or payload, or when the gateway refuses.
bool RouteToGateway(const MuxMessage& message, const GatewayCollections& gateways, void* context);

}  // namespace Mux
