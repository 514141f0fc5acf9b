#include "net/PacketCutter.h"

namespace Brenk::Net {

std::uint16_t ReadPacketLength(const std::vector<unsigned char>& data) {
    return data.size() < 2 ? std::uint16_t{0} : static_cast<std::uint16_t>(data.at(0) | data.at(1) << 8);
}

void PacketCutter::Append(const unsigned char* bytes, std::size_t count) {
    buffer_.insert(buffer_.end(), bytes, bytes + count);
}

std::uint16_t PacketCutter::ExpectedSize() const {
    return ReadPacketLength(buffer_);
}

void PacketCutter::Cut(std::vector<std::vector<unsigned char>>& packets) {
    std::size_t expected = ExpectedSize();
    while (expected != 0 && buffer_.size() >= expected) {
        const auto end = buffer_.begin() + static_cast<std::ptrdiff_t>(expected);
        packets.emplace_back(buffer_.begin(), end);
        buffer_.erase(buffer_.begin(), end);
        expected = ExpectedSize();
    }
}

bool PacketCutter::IsHopeless() const {
    return ExpectedSize() == 0 && buffer_.size() > kHopelessBytes;
}

}  // namespace Brenk::Net
