#include "tools/gateway-simulator/EventSource.h"

#include <stdexcept>

#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {

Frame EventSource::Card(std::uint32_t address, const Bytes& card, std::uint8_t code) {
    return Event(address, code, card);
}

Frame EventSource::Pin(std::uint32_t address, std::string_view digits) {
    return Event(address, kPinEvent, Bytes(digits.begin(), digits.end()));
}

Frame EventSource::Event(std::uint32_t address, std::uint8_t code, const Bytes& data) {
    if (data.size() > kLongestData) {
        throw std::length_error("event data too long for a frame");
    }
    Frame frame;
    frame.sequenceCounter = ++counter_;
    frame.deviceAddress = address;
    frame.code = code;
    frame.payload.assign(details_.begin(), details_.end());
    frame.payload.push_back(static_cast<std::uint8_t>(data.size()));
    frame.payload.insert(frame.payload.end(), data.begin(), data.end());
    return frame;
}

}  // namespace Simulator
