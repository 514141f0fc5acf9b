#include "tools/gateway-simulator/Fault.h"

#include <utility>

namespace Simulator {

Fault Fault::Delay(std::chrono::milliseconds delay) {
    return {FaultKind::kDelay, static_cast<std::uint32_t>(delay.count())};
}

Fault Fault::ByteByByte(std::chrono::milliseconds pause) {
    return {FaultKind::kByteByByte, static_cast<std::uint32_t>(pause.count())};
}

Fault Fault::Junk(Bytes junk) {
    return {FaultKind::kJunk, 0, std::move(junk)};
}

Fault& Fault::Times(std::uint32_t count) {
    remaining = count;
    return *this;
}

Fault& Fault::ForLock(std::uint32_t deviceAddress) {
    address = deviceAddress;
    return *this;
}

}  // namespace Simulator
