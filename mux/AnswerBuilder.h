#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gateway/GatewayOwner.h"
#include "mux/messages/MuxMessage.h"

namespace Mux {

// Builds the client's answer to `request` from what the gateway answered: ACK, operation result, lock status or NACK,
// by the request's message code, with the request's MessageID and the current time. Null for a code that no gateway
// is ever asked for. `gatewayID` is named in the long error texts. Any thread.
std::unique_ptr<MuxMessage> BuildAnswer(const MuxMessage& request,
                                        const Brenk::Messages::VG::VirtualGatewayResponseMessage& response,
                                        std::int32_t gatewayID);

// What a client reads when a gateway refuses its request. There are two wordings: the long one for opening and
// closing a lock names the lock and the gateway, the short one serves every other request. `responseCode` is the
// gateway's, not 0; the text is empty for an unknown header version. Any thread.
std::string LongErrorText(std::uint32_t responseCode, std::int32_t deviceAddress, std::int32_t gatewayID);
std::string ShortErrorText(std::uint32_t responseCode);

}  // namespace Mux
