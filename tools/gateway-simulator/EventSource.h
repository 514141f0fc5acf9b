#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Frame.h"

namespace Simulator {

// Makes the frames that the gateway sends unasked. They have reference ID 0 and count in a sequence of their own,
// from 1.
//
//   payload offset  width  field
//                0      4  event header
//                4      3  event bytes
//                7      1  data length L
//                8      L  data: the card's bytes as read, or the PIN's digits in ASCII
//
// Not thread-safe.
class EventSource {
  public:
    // Event header and event bytes, in the order of the wire.
    using Details = std::array<std::uint8_t, 7>;

    static constexpr std::size_t kLongestData = 228;

    // Every further event carries these; all zero at first.
    void SetDetails(const Details& details) { details_ = details; }

    // A card event of any code. Throws std::length_error for more than 228 bytes.
    Frame Card(std::uint32_t address, const Bytes& card, std::uint8_t code);

    // A PIN event. Throws std::length_error for more than 228 digits.
    Frame Pin(std::uint32_t address, std::string_view digits);

  private:
    Frame Event(std::uint32_t address, std::uint8_t code, const Bytes& data);

    std::uint32_t counter_ = 0;
    Details details_ = {};
};

}  // namespace Simulator
