#pragma once

#include <memory>

#include "gateway/GatewayOwner.h"
#include "mux/messages/MuxMessage.h"

namespace Mux {

// Builds the client's answer to `request` from what the gateway answered: ACK, operation result, lock status or NACK,
// by the request's message code, with the request's MessageID and the current time. Null for a code that no gateway
// is ever asked for. `gatewayID` is named in the long error texts. Any thread.
std::unique_ptr<MuxMessage> BuildAnswer(const MuxMessage& request,
                                        const Brenk::Messages::VG::VirtualGatewayResponseMessage& response,
                                        std::int32_t gatewayID);

}  // namespace Mux
