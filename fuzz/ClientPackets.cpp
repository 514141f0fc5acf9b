// What a client sends: cutting packets from the stream and unwrapping them.
//
// Input: one byte that says how many bytes arrive at a time, then the stream.

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "net/MuxPacket.h"
#include "net/PacketCutter.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::vector<Bytes> CutInPieces(const std::uint8_t* data, std::size_t size, std::size_t pieceSize) {
    Brenk::Net::PacketCutter cutter;
    std::vector<Bytes> packets;
    for (std::size_t begin = 0; begin < size; begin += pieceSize) {
        cutter.Append(data + begin, std::min(pieceSize, size - begin));
        cutter.Cut(packets);
        FUZZ_CHECK(!cutter.IsUnrecoverable() || cutter.ExpectedSize() == 0);
    }
    return packets;
}

void Unwrap(Bytes packet) {
    FUZZ_CHECK(packet.size() < 2 || Brenk::Net::ReadPacketLength(packet) == packet.size());
    try {
        const Brenk::Net::MuxPacket unwrapped(packet);
        FUZZ_CHECK(unwrapped.MessageText().size() <= packet.size());
        FUZZ_CHECK(unwrapped.MessageText().find('\0') == std::string::npos);
        FUZZ_CHECK(unwrapped.Length() == 0 || unwrapped.Length() == packet.size());
    } catch (const std::out_of_range&) {
        FUZZ_CHECK(packet.size() < 6);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::vector<Bytes> packets = CutInPieces(data + 1, size - 1, size - 1);
    FUZZ_CHECK(CutInPieces(data + 1, size - 1, std::max<std::size_t>(*data, 1)) == packets);
    std::for_each(packets.begin(), packets.end(), Unwrap);
    return 0;
}
