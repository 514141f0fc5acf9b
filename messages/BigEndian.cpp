#include "messages/BigEndian.h"

namespace Brenk::Messages {

void AppendBigEndian16(std::vector<unsigned char>& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<unsigned char>(value >> 8));
    bytes.push_back(static_cast<unsigned char>(value & 0xFF));
}

void AppendBigEndian32(std::vector<unsigned char>& bytes, std::uint32_t value) {
    AppendBigEndian16(bytes, static_cast<std::uint16_t>(value >> 16));
    AppendBigEndian16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
}

}  // namespace Brenk::Messages
