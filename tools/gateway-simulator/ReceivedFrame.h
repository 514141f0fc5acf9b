#pragma once

#include <chrono>
#include <cstddef>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Frame.h"
#include "tools/gateway-simulator/FrameCodec.h"

namespace Simulator {

// What arrived on a connection in one piece: a frame, or bytes that are none.
struct ReceivedFrame {
    // As they were on the wire.
    Bytes bytes;
    Verdict verdict = Verdict::kGood;
    // The fields, as far as present; all defaults for bytes that are not a frame (kMagic, kTooShort).
    Frame frame;
    std::chrono::steady_clock::time_point arrival;
    // Which connection it came on, counted from 1 in the order of accepting.
    std::size_t connection = 0;
};

}  // namespace Simulator
