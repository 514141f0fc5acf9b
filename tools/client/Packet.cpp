#include "tools/client/Packet.h"

#include <stdexcept>

namespace MuxClient {

std::string BuildPacket(std::string_view text) {
    if (text.size() > kLongestText) {
        throw std::length_error("a text of " + std::to_string(text.size()) +
                                " bytes does not fit into a packet, which holds " + std::to_string(kLongestText));
    }
    const std::size_t length = text.size() + kPacketHeaderSize;
    std::string packet = {static_cast<char>(length & 0xFFU), static_cast<char>(length >> 8U)};
    packet += "MUXM";
    packet += text;
    return packet;
}

}  // namespace MuxClient
