#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "messages/AnswerPayloads.h"

namespace Brenk::Messages::VG {

// A gateway's answer to one request.
struct VirtualGatewayResponseMessage {
    std::string requestID;                                 // of the request that is answered
    std::uint8_t requestCode = 0;                          // command code of the request frame
    std::uint32_t responseCode = 0;                        // the gateway's result code; 0 for a status answer
    std::unique_ptr<BrenkGetStatusPayload> statusPayload;  // set for a status answer only
};

}  // namespace Brenk::Messages::VG
