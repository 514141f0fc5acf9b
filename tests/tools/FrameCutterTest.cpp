#include "tools/gateway-simulator/FrameCutter.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Hex.h"

namespace Simulator {
namespace {

using Testing::FromHex;
using Testing::ToHex;

const std::string kFirst = "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32";
const std::string kSecond = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC";

// All chunks that are ready, as "frame ..." and "junk ..." with a bar between.
std::string TakeAll(FrameCutter& cutter) {
    std::string all;
    for (auto chunk = cutter.Next(); chunk; chunk = cutter.Next()) {
        all += (all.empty() ? "" : " | ") + std::string(chunk->isFrame ? "frame " : "junk ") + ToHex(chunk->bytes);
    }
    return all;
}

std::string Cut(const std::string& hex) {
    FrameCutter cutter;
    cutter.Append(FromHex(hex));
    return TakeAll(cutter);
}

TEST(FrameCutterTest, HandsOutAFrameOnceItsLastByteArrives) {
    FrameCutter cutter;
    const Bytes bytes = FromHex(kFirst);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        cutter.Append({bytes.at(i)});
        ASSERT_EQ(TakeAll(cutter), "") << "after byte " << i;
    }
    cutter.Append({bytes.back()});
    EXPECT_EQ(TakeAll(cutter), "frame " + kFirst);
}

TEST(FrameCutterTest, SeparatesGluedFrames) {
    EXPECT_EQ(Cut(kFirst + kSecond + kFirst), "frame " + kFirst + " | frame " + kSecond + " | frame " + kFirst);
}

TEST(FrameCutterTest, KeepsTheBeginningOfTheNextFrame) {
    FrameCutter cutter;
    cutter.Append(FromHex(kFirst + "14 FE"));
    EXPECT_EQ(TakeAll(cutter), "frame " + kFirst);
    EXPECT_EQ(ToHex(cutter.Pending()), "14 FE");
    cutter.Append(FromHex(kSecond.substr(6)));
    EXPECT_EQ(TakeAll(cutter), "frame " + kSecond);
}

TEST(FrameCutterTest, HandsOutJunkInFrontOfAFrame) {
    EXPECT_EQ(Cut("DE AD BE EF" + kFirst), "junk DE AD BE EF | frame " + kFirst);
}

TEST(FrameCutterTest, KeepsTheLastByteOfJunkSinceItMayBeALength) {
    EXPECT_EQ(Cut("01 02 03"), "junk 01 02");
}

TEST(FrameCutterTest, KeepsTwoBytesOfJunkWhenTheSecondMayBeginTheMagic) {
    EXPECT_EQ(Cut("01 02 FE"), "junk 01");
}

TEST(FrameCutterTest, TakesAMagicWithoutLengthForJunk) {
    EXPECT_EQ(Cut("FE FD 00 00" + kFirst), "junk FE FD 00 00 | frame " + kFirst);
}

TEST(FrameCutterTest, TakesALengthShorterThanAnyFrameForJunk) {
    EXPECT_EQ(Cut("12 FE FD" + kFirst), "junk 12 FE FD | frame " + kFirst);
    EXPECT_EQ(Cut("00 FE FD" + kFirst), "junk 00 FE FD | frame " + kFirst);
}

TEST(FrameCutterTest, AcceptsALengthByteThatLooksLikeMagic) {
    const std::string frame = "FE FE FD " + ToHex(Bytes(251, 0x11));
    EXPECT_EQ(Cut(frame), "frame " + frame);
}

}  // namespace
}  // namespace Simulator
