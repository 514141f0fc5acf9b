#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Brenk::Net {

// One packet from a client, unwrapped where it lies: the text is part of the data, which must outlive it unchanged.
//
//   offset 0, 2 bytes   length, unsigned, little-endian; not 0
//   offset 2, 4 bytes   the characters "MUXM"
//   offset 6, the rest  the JSON text, without a terminating NUL
//
// The length is recorded but does not bound the text: the text is whatever follows the header.
class MuxPacket {
  public:
    // Length and magic. Data with fewer bytes is not a packet and must not be passed in.
    static constexpr std::size_t kHeaderSize = 6;

    // Whether the data is a packet. Fewer than 6 bytes raise std::out_of_range.
    static bool IsMuxPacket(std::vector<unsigned char>& data);

    // Unwraps a packet. Data that is none leaves the object empty; fewer than 6 bytes raise std::out_of_range.
    explicit MuxPacket(std::vector<unsigned char>& data);

    // The length field; 0 when the data was no packet.
    std::uint16_t Length() const;

    // The text up to its first NUL.
    std::string_view MessageText() const;

  private:
    std::uint16_t length_ = 0;
    std::string_view messageText_;
};

}  // namespace Brenk::Net
