#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace MuxClient {

// What a client sends to the Mux, one packet for each JSON text:
//
//   offset  width  field
//        0      2  length of the whole packet, unsigned, little-endian
//        2      4  the characters "MUXM"
//        6         the text, UTF-8, without a terminating NUL
//
// What the Mux sends has no frame: see TextCutter.

constexpr std::size_t kPacketHeaderSize = 6;
// With it the length field has its largest value, 65535.
constexpr std::size_t kLongestText = 0xFFFF - kPacketHeaderSize;

// Returns the packet that holds `text`. Throws std::length_error when the text is longer than kLongestText. Any
// thread may call it.
std::string BuildPacket(std::string_view text);

}  // namespace MuxClient
