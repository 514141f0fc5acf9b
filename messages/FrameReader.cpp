#include "messages/FrameReader.h"

namespace Brenk::Messages {

FrameReader::FrameReader(const std::vector<unsigned char>& frame) : frame_(frame) {}

std::uint8_t FrameReader::Byte(std::size_t offset) const {
    return frame_.at(offset);
}

std::uint32_t FrameReader::BigEndian32(std::size_t offset) const {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : Array<4>(offset)) {
        value = value << 8 | byte;
    }
    return value;
}

std::vector<unsigned char> FrameReader::Bytes(std::size_t offset, std::size_t count) const {
    std::vector<unsigned char> bytes;
    bytes.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        bytes.push_back(Byte(offset + index));
    }
    return bytes;
}

void AppendBigEndian16(std::vector<unsigned char>& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<unsigned char>(value >> 8));
    bytes.push_back(static_cast<unsigned char>(value & 0xFF));
}

void AppendBigEndian32(std::vector<unsigned char>& bytes, std::uint32_t value) {
    AppendBigEndian16(bytes, static_cast<std::uint16_t>(value >> 16));
    AppendBigEndian16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
}

}  // namespace Brenk::Messages
