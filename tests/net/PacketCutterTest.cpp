#include "net/PacketCutter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<unsigned char>;
using Packets = std::vector<Bytes>;

Packets Feed(PacketCutter& cutter, const Bytes& bytes) {
    cutter.Append(bytes.data(), bytes.size());
    Packets packets;
    cutter.Cut(packets);
    return packets;
}

// A packet of this length, whose bytes behind the length field count up, and whatever shall follow it.
Bytes PacketOf(std::size_t length, const Bytes& followers = {}) {
    static const Bytes pattern = [] {
        Bytes bytes(65535);
        std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
        return bytes;
    }();
    Bytes packet;
    packet.reserve(length + followers.size());
    packet.assign(pattern.begin(), pattern.begin() + static_cast<std::ptrdiff_t>(length));
    packet.at(0) = static_cast<unsigned char>(length & 0xFF);
    packet.at(1) = static_cast<unsigned char>(length >> 8);
    packet.insert(packet.end(), followers.begin(), followers.end());
    return packet;
}

TEST(PacketCutter, TwoPacketsInOnePieceAreCutInOrder) {
    PacketCutter cutter;
    EXPECT_THAT(Feed(cutter, {0x03, 0x00, 0x41, 0x04, 0x00, 0x42, 0x43}),
                ElementsAre(Bytes{0x03, 0x00, 0x41}, Bytes{0x04, 0x00, 0x42, 0x43}));
    EXPECT_EQ(cutter.ExpectedSize(), 0);
}

TEST(PacketCutter, APacketInTwoPiecesIsCutOnceComplete) {
    PacketCutter cutter;
    EXPECT_THAT(Feed(cutter, {0x05, 0x00, 0x41}), IsEmpty());
    EXPECT_EQ(cutter.ExpectedSize(), 5);
    EXPECT_THAT(Feed(cutter, {0x42, 0x43}), ElementsAre(Bytes{0x05, 0x00, 0x41, 0x42, 0x43}));
}

TEST(PacketCutter, WhatFollowsAPacketIsTheBeginOfTheNext) {
    PacketCutter cutter;
    EXPECT_THAT(Feed(cutter, {0x03, 0x00, 0x41, 0x03}), ElementsAre(Bytes{0x03, 0x00, 0x41}));
    EXPECT_EQ(cutter.ExpectedSize(), 0) << "one byte is no length yet";
    EXPECT_THAT(Feed(cutter, {0x00, 0x42}), ElementsAre(Bytes{0x03, 0x00, 0x42}));
}

TEST(PacketCutter, BytesThatComeOneByOneAreCutAtTheSamePlaces) {
    PacketCutter cutter;
    Packets packets;
    for (const unsigned char byte : Bytes{0x03, 0x00, 0x41, 0x02, 0x00, 0x04, 0x00, 0x42, 0x43}) {
        cutter.Append(&byte, 1);
        cutter.Cut(packets);
    }
    EXPECT_THAT(packets, ElementsAre(Bytes{0x03, 0x00, 0x41}, Bytes{0x02, 0x00}, Bytes{0x04, 0x00, 0x42, 0x43}));
}

TEST(PacketCutter, ALengthOf1IsCutAsOneByte) {
    PacketCutter cutter;
    EXPECT_THAT(Feed(cutter, {0x01, 0x00}), ElementsAre(Bytes{0x01}));
    EXPECT_THAT(Feed(cutter, {0x01, 0x42}), ElementsAre()) << "00 01 is a length of 256";
    EXPECT_EQ(cutter.ExpectedSize(), 0x0100);
}

TEST(PacketCutter, ALengthOf0NeverYieldsAPacketAndStaysBuffered) {
    PacketCutter cutter;
    EXPECT_THAT(Feed(cutter, {0x00, 0x00, 0x03, 0x00, 0x41}), IsEmpty());
    EXPECT_THAT(Feed(cutter, {0x03, 0x00, 0x41}), IsEmpty());
    EXPECT_EQ(cutter.ExpectedSize(), 0);
    EXPECT_FALSE(cutter.IsUnrecoverable());
}

TEST(PacketCutter, TheLengthIsLittleEndianAndNeedsTwoBytes) {
    EXPECT_EQ(ReadPacketLength({}), 0);
    EXPECT_EQ(ReadPacketLength({0x34}), 0);
    EXPECT_EQ(ReadPacketLength({0x34, 0x12}), 0x1234);
    EXPECT_EQ(ReadPacketLength({0xFF, 0xFF, 0x00}), 0xFFFF);
}

TEST(PacketCutter, EveryLengthFrom2To65535IsCutWholeAndTheNextPacketIsFound) {
    for (std::size_t length = 2; length <= 65535; ++length) {
        PacketCutter cutter;
        const Packets packets = Feed(cutter, PacketOf(length, {0x03, 0x00, 0x41}));
        ASSERT_EQ(packets.size(), 2U) << length;
        ASSERT_EQ(packets.at(0).size(), length);
        ASSERT_EQ(packets.at(1), (Bytes{0x03, 0x00, 0x41})) << length;
    }
}

TEST(PacketCutter, TheBytesOfALongPacketAreTheOnesThatCame) {
    PacketCutter cutter;
    const Bytes packet = PacketOf(65535);
    cutter.Append(packet.data(), 65534);
    Packets packets;
    cutter.Cut(packets);
    EXPECT_THAT(packets, IsEmpty());
    cutter.Append(&packet.back(), 1);
    cutter.Cut(packets);
    EXPECT_THAT(packets, ElementsAre(packet));
}

TEST(PacketCutter, CutPacketsAreAddedToThoseThatAreThere) {
    PacketCutter cutter;
    Packets packets = {{0x99}};
    cutter.Append(Bytes{0x02, 0x00}.data(), 2);
    cutter.Cut(packets);
    EXPECT_THAT(packets, ElementsAre(Bytes{0x99}, Bytes{0x02, 0x00}));
}

TEST(PacketCutter, AStreamIsHopelessWhenMoreThan128KilobytesCanNeverBecomeAPacket) {
    PacketCutter cutter;
    EXPECT_FALSE(cutter.IsUnrecoverable());
    Feed(cutter, Bytes(128UL * 1024, 0x00));
    EXPECT_FALSE(cutter.IsUnrecoverable());
    Feed(cutter, {0x00});
    EXPECT_TRUE(cutter.IsUnrecoverable());
}

TEST(PacketCutter, AStreamWithALongUnfinishedPacketIsNotHopeless) {
    PacketCutter cutter;
    Feed(cutter, {0xFF, 0xFF});
    Feed(cutter, Bytes(65000, 0x00));
    EXPECT_FALSE(cutter.IsUnrecoverable());
}

}  // namespace
}  // namespace Brenk::Net
