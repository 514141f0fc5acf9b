#include "tools/client/PacketCutter.h"

#include <algorithm>

#include "tools/client/Errors.h"
#include "tools/client/Packet.h"

namespace MuxClient {
namespace {

constexpr std::size_t kLengthSize = 2;
constexpr std::string_view kMagic = "MUXM";

// Looks at the bytes that are there already, so that a peer which is no client is told so at once.
void CheckMagic(std::string_view packet) {
    const std::string_view magic = packet.substr(std::min(kLengthSize, packet.size()), kMagic.size());
    if (magic != kMagic.substr(0, magic.size())) {
        throw ProtocolError("a packet does not begin with MUXM behind its length");
    }
}

}  // namespace

std::optional<std::string> PacketCutter::Next() {
    if (buffer_.size() < kLengthSize) {
        return std::nullopt;
    }
    CheckMagic(buffer_);
    const std::size_t length = Length();
    if (length < kPacketHeaderSize) {
        throw ProtocolError("a packet has the length " + std::to_string(length));
    }
    if (buffer_.size() < length) {
        return std::nullopt;
    }
    std::string text = buffer_.substr(kPacketHeaderSize, length - kPacketHeaderSize);
    buffer_.erase(0, length);
    return text;
}

std::size_t PacketCutter::Length() const {
    const auto low = static_cast<unsigned char>(buffer_.at(0));
    const auto high = static_cast<unsigned char>(buffer_.at(1));
    return low + 256U * high;
}

}  // namespace MuxClient
