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

}  // namespace Brenk::Messages
