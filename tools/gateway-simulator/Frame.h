#pragma once

#include <cstdint>

#include "tools/gateway-simulator/Bytes.h"

namespace Simulator {

// The content of one frame. Magic, lengths, reserved bytes and checksum are the codec's.
struct Frame {
    std::uint8_t headerVersion = 1;
    // 1 to 63 for a request and its answer, 0 for what the gateway sends unasked.
    std::uint8_t referenceId = 0;
    std::uint32_t sequenceCounter = 0;
    // Address of the lock that the frame is for or comes from.
    std::uint32_t deviceAddress = 0;
    // Command of a request, kind of an answer or event (ProtocolCodes.h).
    std::uint8_t code = 0;
    Bytes payload;
};

}  // namespace Simulator
