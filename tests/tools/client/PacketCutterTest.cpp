#include "tools/client/PacketCutter.h"

#include <gtest/gtest.h>

#include "tools/client/Errors.h"

namespace MuxClient {
namespace {

using std::string_literals::operator""s;

TEST(PacketCutter, CutsPacketsThatComeInPiecesAndTogether) {
    const std::string packets = "\x08\x00MUXM{}\x06\x00MUXM\x08\x00MUXM[]"s;
    for (std::size_t size = 1; size <= packets.size(); ++size) {
        PacketCutter cutter;
        std::string texts;
        for (std::size_t at = 0; at < packets.size(); at += size) {
            cutter.Add(std::string_view(packets).substr(at, size));
            while (const auto text = cutter.Next()) {
                texts += "<" + *text + ">";
            }
        }
        EXPECT_EQ(texts, "<{}><><[]>") << size;
        EXPECT_FALSE(cutter.IsWithinPacket());
    }
}

TEST(PacketCutter, TakesTheLongestPacket) {
    PacketCutter cutter;
    cutter.Add("\xFF\xFFMUXM" + std::string(65528, ' '));
    EXPECT_FALSE(cutter.Next());
    EXPECT_TRUE(cutter.IsWithinPacket());
    cutter.Add(" ");
    EXPECT_EQ(cutter.Next(), std::string(65529, ' '));
}

TEST(PacketCutter, RefusesALengthThatHasNoRoomForItself) {
    for (const char length : {'\x00', '\x05'}) {
        PacketCutter cutter;
        cutter.Add(std::string(1, length) + "\0MUXM"s);
        EXPECT_THROW(cutter.Next(), ProtocolError) << int{length};
    }
}

TEST(PacketCutter, RefusesOtherCharactersAsSoonAsTheyCome) {
    PacketCutter cutter;
    cutter.Add("GE");
    EXPECT_FALSE(cutter.Next());
    cutter.Add("T");
    EXPECT_THROW(cutter.Next(), ProtocolError);
}

}  // namespace
}  // namespace MuxClient
