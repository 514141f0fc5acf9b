#include "net/MuxPacket.h"

#include "diagnostics/Tracer.h"
#include "net/PacketCutter.h"

namespace Brenk::Net {
namespace {

constexpr const char* kMagic = "MUXM";
constexpr std::size_t kMagicOffset = 2;
constexpr std::size_t kTextOffset = MuxPacket::kHeaderSize;

std::string ReadMagic(const std::vector<unsigned char>& data) {
    std::string magic;
    for (std::size_t index = kMagicOffset; index < kTextOffset; ++index) {
        magic.push_back(static_cast<char>(data.at(index)));
    }
    return magic;
}

}  // namespace

bool MuxPacket::IsMuxPacket(std::vector<unsigned char>& data) {
    using Diagnostics::Tracer;
    const bool isPacket = ReadMagic(data) == kMagic && ReadPacketLength(data) != 0;
    if (isPacket) {
        Tracer::WriteLine("[MuxPacket::IsMuxPacket] Data is a MUX packet.", Tracer::Level::kInformation);
    } else {
        Tracer::WriteLine("[MuxPacket::IsMuxPacket] Data is NOT a MUX packet.", Tracer::Level::kWarning);
    }
    return isPacket;
}

MuxPacket::MuxPacket(std::vector<unsigned char>& data) {
    if (!IsMuxPacket(data)) {
        return;
    }
    length_ = ReadPacketLength(data);
    textBytes_.assign(data.begin() + kTextOffset, data.end());
    textBytes_.push_back(0);
    messageText_ = reinterpret_cast<const char*>(textBytes_.data());
}

std::uint16_t MuxPacket::Length() const {
    return length_;
}

const std::string& MuxPacket::MessageText() const {
    return messageText_;
}

}  // namespace Brenk::Net
