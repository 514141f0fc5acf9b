#pragma once

#include <cstdint>
#include <vector>

namespace Brenk::Messages {

// Append an integer as the gateway protocol carries it, most significant byte first.
void AppendBigEndian16(std::vector<unsigned char>& bytes, std::uint16_t value);
void AppendBigEndian32(std::vector<unsigned char>& bytes, std::uint32_t value);

}  // namespace Brenk::Messages
