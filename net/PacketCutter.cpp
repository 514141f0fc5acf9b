#include "net/PacketCutter.h"

namespace Brenk::Net {

std::uint16_t ReadPacketLength(const std::vector<unsigned char>& data, std::size_t begin) {
    return data.size() < begin + 2 ? std::uint16_t{0}
                                   : static_cast<std::uint16_t>(data.at(begin) | data.at(begin + 1) << 8);
}

void PacketCutter::Append(const unsigned char* bytes, std::size_t count) {
    buffer_.insert(buffer_.end(), bytes, bytes + count);
}

std::uint16_t PacketCutter::ExpectedSize() const {
    return ReadPacketLength(buffer_);
}

// What has been cut is taken out once at the end: what follows would be moved for each packet otherwise.
void PacketCutter::Cut(std::vector<std::vector<unsigned char>>& packets) {
    std::size_t begin = 0;
    std::size_t expected = ExpectedSize();
    while (expected != 0 && buffer_.size() - begin >= expected) {
        const auto first = buffer_.begin() + static_cast<std::ptrdiff_t>(begin);
        packets.emplace_back(first, first + static_cast<std::ptrdiff_t>(expected));
        begin += expected;
        expected = ReadPacketLength(buffer_, begin);
    }
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(begin));
}

bool PacketCutter::IsUnrecoverable() const {
    return ExpectedSize() == 0 && buffer_.size() > kUnrecoverableBytes;
}

}  // namespace Brenk::Net
