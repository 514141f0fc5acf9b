#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Brenk::Net {

// The length field of a client packet that begins at `begin`: its bytes 0 and 1, little-endian; 0 when there are fewer
// than 2 bytes.
std::uint16_t ReadPacketLength(const std::vector<unsigned char>& data, std::size_t begin = 0);

// Cuts a client's byte stream into packets by their length field, whatever else they hold.
//
// Not thread-safe: one per connection, used by the receive thread alone. Bytes stay buffered until their packet is
// complete. A length of 0 never yields a packet; the bytes after it stay.
class PacketCutter {
  public:
    // Adds bytes as they were received. `bytes` is only read during the call.
    void Append(const unsigned char* bytes, std::size_t count);

    // The length that the packet at the front announces; 0 while fewer than 2 bytes are buffered.
    std::uint16_t ExpectedSize() const;

    // Takes every packet that is complete out of the buffer, in order, length field included, and adds it to
    // `packets`. Never throws on content.
    void Cut(std::vector<std::vector<unsigned char>>& packets);

    // Whether the buffer holds more than kUnrecoverableBytes that can never become a packet.
    bool IsUnrecoverable() const;

    static constexpr std::size_t kUnrecoverableBytes = 131072;

  private:
    std::vector<unsigned char> buffer_;
};

}  // namespace Brenk::Net
