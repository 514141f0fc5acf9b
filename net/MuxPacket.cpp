#include "net/MuxPacket.h"

#include "diagnostics/Tracer.h"
#include "net/PacketCutter.h"

namespace Brenk::Net {
namespace {

constexpr std::string_view kMagic = "MUXM";
constexpr std::size_t kMagicOffset = 2;

std::string_view CharactersFrom(std::size_t offset, const std::vector<unsigned char>& data) {
    return {reinterpret_cast<const char*>(data.data()) + offset, data.size() - offset};
}

bool HasMagic(const std::vector<unsigned char>& data) {
    static_cast<void>(data.at(kMagicOffset + kMagic.size() - 1));  // raises
    return CharactersFrom(kMagicOffset, data).substr(0, kMagic.size()) == kMagic;
}

}  // namespace

bool MuxPacket::IsMuxPacket(std::vector<unsigned char>& data) {
    using Diagnostics::Tracer;
    const bool isPacket = HasMagic(data) && ReadPacketLength(data) != 0;
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
    const std::string_view text = CharactersFrom(kHeaderSize, data);
    messageText_ = text.substr(0, text.find('\0'));
}

std::uint16_t MuxPacket::Length() const {
    return length_;
}

std::string_view MuxPacket::MessageText() const {
    return messageText_;
}

}  // namespace Brenk::Net
