#pragma once

#include <string>
#include <vector>

namespace Benchmark {

using Bytes = std::vector<unsigned char>;

// A client's packet around a text.
inline Bytes ClientPacket(const std::string& text) {
    const std::string body = "MUXM" + text;
    const std::size_t size = body.size() + 2;
    Bytes packet = {static_cast<unsigned char>(size & 0xFFU), static_cast<unsigned char>(size >> 8)};
    packet.insert(packet.end(), body.begin(), body.end());
    return packet;
}

}  // namespace Benchmark
