#include "tools/gateway-simulator/FrameSplitter.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tools/PlainSocket.h"

namespace Simulator {
namespace {

using Testing::FromHexText;
using Testing::ToHexText;

const std::string kFirst = "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32";
const std::string kSecond = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC";

// All chunks that are ready, as "frame ..." and "junk ..." with a bar between.
std::string TakeAll(FrameSplitter& splitter) {
    std::string all;
    for (auto chunk = splitter.Next(); chunk; chunk = splitter.Next()) {
        all += (all.empty() ? "" : " | ") + std::string(chunk->isFrame ? "frame " : "junk ") + ToHexText(chunk->bytes);
    }
    return all;
}

std::string Split(const std::string& hex) {
    FrameSplitter splitter;
    splitter.Append(FromHexText(hex));
    return TakeAll(splitter);
}

TEST(FrameSplitterTest, HandsOutAFrameThatArrivesWhole) {
    EXPECT_EQ(Split(kFirst), "frame " + kFirst);
}

TEST(FrameSplitterTest, HandsOutAFrameOnceItsLastByteArrives) {
    FrameSplitter splitter;
    const Bytes bytes = FromHexText(kFirst);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        splitter.Append({bytes.at(i)});
        ASSERT_EQ(TakeAll(splitter), "") << "after byte " << i;
    }
    splitter.Append({bytes.back()});
    EXPECT_EQ(TakeAll(splitter), "frame " + kFirst);
}

TEST(FrameSplitterTest, SeparatesGluedFrames) {
    EXPECT_EQ(Split(kFirst + kSecond + kFirst), "frame " + kFirst + " | frame " + kSecond + " | frame " + kFirst);
}

TEST(FrameSplitterTest, KeepsTheBeginningOfTheNextFrame) {
    FrameSplitter splitter;
    splitter.Append(FromHexText(kFirst + "14 FE"));
    EXPECT_EQ(TakeAll(splitter), "frame " + kFirst);
    EXPECT_EQ(ToHexText(splitter.Pending()), "14 FE");
    splitter.Append(FromHexText(kSecond.substr(6)));
    EXPECT_EQ(TakeAll(splitter), "frame " + kSecond);
}

TEST(FrameSplitterTest, HandsOutJunkInFrontOfAFrame) {
    EXPECT_EQ(Split("DE AD BE EF" + kFirst), "junk DE AD BE EF | frame " + kFirst);
}

TEST(FrameSplitterTest, HandsOutJunkBetweenFrames) {
    EXPECT_EQ(Split(kFirst + "00" + kSecond), "frame " + kFirst + " | junk 00 | frame " + kSecond);
}

TEST(FrameSplitterTest, KeepsTheLastByteOfJunkSinceItMayBeALength) {
    EXPECT_EQ(Split("01 02 03"), "junk 01 02");
}

TEST(FrameSplitterTest, KeepsTwoBytesOfJunkWhenTheSecondMayBeginTheMagic) {
    EXPECT_EQ(Split("01 02 FE"), "junk 01");
}

TEST(FrameSplitterTest, TakesAMagicWithoutLengthForJunk) {
    EXPECT_EQ(Split("FE FD 00 00" + kFirst), "junk FE FD 00 00 | frame " + kFirst);
}

TEST(FrameSplitterTest, TakesALengthShorterThanAnyFrameForJunk) {
    EXPECT_EQ(Split("12 FE FD" + kFirst), "junk 12 FE FD | frame " + kFirst);
    EXPECT_EQ(Split("00 FE FD" + kFirst), "junk 00 FE FD | frame " + kFirst);
}

TEST(FrameSplitterTest, AcceptsALengthByteThatLooksLikeMagic) {
    const std::string frame = "FE FE FD " + ToHexText(Bytes(251, 0x11));
    EXPECT_EQ(Split(frame), "frame " + frame);
}

}  // namespace
}  // namespace Simulator
