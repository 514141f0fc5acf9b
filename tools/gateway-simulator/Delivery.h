#pragma once

#include <chrono>
#include <vector>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/Frame.h"

namespace Simulator {

// How an answer is sent: in order and at once, unless faults change that.
struct Delivery {
    enum class Ending { kNone, kClose, kReset };

    // Passes before anything else happens.
    std::chrono::milliseconds delay{0};
    // Each handed to the socket by itself, in this order.
    std::vector<Bytes> writes;
    // Between the writes.
    std::chrono::milliseconds pause{0};
    // The writes wait for the next frame on the connection and leave in one piece with it.
    bool holdForNext = false;
    // What happens to the connection after the writes.
    Ending ending = Ending::kNone;
};

// The delivery of an answer under these faults, of any kind but kForceResult. Of several of one kind the latest
// applies; one that withholds the answer overrides those that change it.
Delivery PlanDelivery(const Frame& answer, const std::vector<Fault>& faults);

}  // namespace Simulator
