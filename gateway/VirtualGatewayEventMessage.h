#pragma once

#include <cstdint>
#include <string>

namespace Brenk::Messages::VG {

// Something a gateway told on its own: a card or a PIN presented at a lock's reader.
struct VirtualGatewayEventMessage {
    std::uint8_t eventType = 0;       // the frame's command code, one of CommandCodes::kEvents
    std::uint16_t deviceAddress = 0;  // the lock, low 16 bits
    std::string data;                 // card or PIN bytes, upper-case hexadecimal; empty when the frame had none
    std::uint32_t reserved = 0;       // always 0
};

}  // namespace Brenk::Messages::VG
