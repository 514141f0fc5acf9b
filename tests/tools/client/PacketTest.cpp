#include "tools/client/Packet.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace MuxClient {
namespace {

// What a length of more than one byte looks like: the low byte first.
std::string Header(char low, char high) {
    return std::string({low, high}) + "MUXM";
}

TEST(PacketTest, HasItsWholeLengthAndFourCharactersBeforeTheText) {
    EXPECT_EQ(BuildPacket("{}"), std::string("\x08\x00\x4D\x55\x58\x4D\x7B\x7D", 8));
}

TEST(PacketTest, OfAnEmptyTextIsItsHeader) {
    EXPECT_EQ(BuildPacket(""), Header('\x06', '\x00'));
}

TEST(PacketTest, HasTheLowByteOfTheLengthFirst) {
    const std::string text(300, 'x');
    EXPECT_EQ(BuildPacket(text), Header('\x32', '\x01') + text);  // 306 is 0x0132
}

TEST(PacketTest, CarriesEveryByteOfTheText) {
    const std::string text("a\0\xC3\xA9", 4);
    EXPECT_EQ(BuildPacket(text), Header('\x0A', '\x00') + text);
}

TEST(PacketTest, HoldsUpTo65529Bytes) {
    const std::string text(65529, 'x');
    EXPECT_EQ(BuildPacket(text), Header('\xFF', '\xFF') + text);
    EXPECT_THROW(BuildPacket(text + "x"), std::length_error);
}

}  // namespace
}  // namespace MuxClient
