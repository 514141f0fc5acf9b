#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Brenk::Messages {

// The one way to bytes that came from a gateway: every read is checked against the end of the frame and throws
// std::out_of_range beyond it.
//
// Looks at the frame and does not own it: the vector must remain alive and unchanged while the reader is used.
class FrameReader {
  public:
    explicit FrameReader(const std::vector<unsigned char>& frame);

    // The byte at `offset`, counted from the frame's length byte.
    std::uint8_t Byte(std::size_t offset) const;

    // The four bytes from `offset` on, most significant first.
    std::uint32_t BigEndian32(std::size_t offset) const;

    // A copy of the `count` bytes from `offset` on. A count of 0 gives an empty vector, wherever `offset` is.
    std::vector<unsigned char> Bytes(std::size_t offset, std::size_t count) const;

    // A copy of the `Count` bytes from `offset` on.
    template <std::size_t Count>
    std::array<std::uint8_t, Count> Array(std::size_t offset) const {
        std::array<std::uint8_t, Count> bytes{};
        for (std::size_t index = 0; index < Count; ++index) {
            bytes[index] = Byte(offset + index);
        }
        return bytes;
    }

  private:
    const std::vector<unsigned char>& frame_;
};

// Append an integer as the gateway protocol carries it, most significant byte first.
void AppendBigEndian16(std::vector<unsigned char>& bytes, std::uint16_t value);
void AppendBigEndian32(std::vector<unsigned char>& bytes, std::uint32_t value);

}  // namespace Brenk::Messages
