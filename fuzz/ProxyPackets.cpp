// What comes from a client of the proxy, as a session cuts and reads it.
//
// Input: one byte that says how many bytes arrive at a time, then the stream.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "proxy/requests/ProxyRequest.h"
#include "tools/client/Errors.h"
#include "tools/client/Packet.h"
#include "tools/client/PacketCutter.h"

namespace {

struct Cut {
    std::vector<std::string> texts;
    bool isBroken = false;

    bool operator==(const Cut& other) const { return texts == other.texts && isBroken == other.isBroken; }
};

Cut CutInPieces(std::string_view stream, std::size_t pieceSize) {
    MuxClient::PacketCutter cutter;
    Cut cut;
    try {
        for (std::size_t begin = 0; begin < stream.size(); begin += pieceSize) {
            cutter.Add(stream.substr(begin, pieceSize));
            while (const auto text = cutter.Next()) {
                cut.texts.push_back(*text);
            }
        }
    } catch (const MuxClient::ProtocolError&) {
        cut.isBroken = true;
    }
    return cut;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Cut cut = CutInPieces(stream, stream.size());
    FUZZ_CHECK(CutInPieces(stream, std::max<std::size_t>(*data, 1)) == cut);
    std::string packets;
    for (const std::string& text : cut.texts) {
        packets += MuxClient::BuildPacket(text);
        MuxProxy::ReadRequest(text);
    }
    FUZZ_CHECK(stream.substr(0, packets.size()) == packets);
    return 0;
}
