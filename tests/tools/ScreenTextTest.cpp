#include "tools/gateway-simulator/ScreenText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Simulator {
namespace {

TEST(ScreenTextTest, CutsToColumns) {
    EXPECT_EQ(FitColumns("closed", 10), "closed");
    EXPECT_EQ(FitColumns("closed", 6), "closed");
    EXPECT_EQ(FitColumns("closed", 3), "clo");
    EXPECT_EQ(FitColumns("closed", 0), "");
}

TEST(ScreenTextTest, CountsACharacterOfSeveralBytesAsOneColumn) {
    EXPECT_EQ(FitColumns("T\xC3\xBCr \xE2\x82\xAC \xF0\x9F\x9A\xAA", 2), "T\xC3\xBC");
    EXPECT_EQ(FitColumns("T\xC3\xBCr \xE2\x82\xAC \xF0\x9F\x9A\xAA", 5), "T\xC3\xBCr \xE2\x82\xAC");
    EXPECT_EQ(ColumnsOf("T\xC3\xBCr \xE2\x82\xAC \xF0\x9F\x9A\xAA"), 7U);
    EXPECT_EQ(ColumnsOf(""), 0U);
}

TEST(ScreenTextTest, MarksWhatItCuts) {
    EXPECT_EQ(CutColumns("T\xC3\xBCr", 3), "T\xC3\xBCr");
    EXPECT_EQ(CutColumns("T\xC3\xBCren", 3), "T\xC3\xBC>");
    EXPECT_EQ(CutColumns("closed", 1), ">");
    EXPECT_EQ(CutColumns("closed", 0), "");
}

TEST(ScreenTextTest, FillsUpWithBlanks) {
    EXPECT_EQ(PadColumns("T\xC3\xBCr", 5), "T\xC3\xBCr  ");
    EXPECT_EQ(PadColumns("closed", 3), "cl>");
    EXPECT_EQ(PadColumns("", 2), "  ");
}

TEST(ScreenTextTest, WrapsALongText) {
    EXPECT_THAT(WrapColumns("T\xC3\xBCr zu", 3), testing::ElementsAre("T\xC3\xBCr", " zu"));
    EXPECT_THAT(WrapColumns("", 3), testing::ElementsAre(""));
    EXPECT_THAT(WrapColumns("zu", 0), testing::ElementsAre("z", "u"));
}

TEST(ScreenTextTest, LetsNoControlCharacterPass) {
    EXPECT_EQ(FitColumns("a\x1B[2Jb\tc\x7F", 20), "a?[2Jb?c?");
    EXPECT_EQ(FitColumns("\xC2\x9B"
                         "2J\xC2\xA0",
                         20),
              "?2J\xC2\xA0");
}

TEST(ScreenTextTest, ReplacesEachByteThatIsNoUtf8) {
    EXPECT_EQ(FitColumns("a\xFF"
                         "b",
                         20),
              "a?b");
    EXPECT_EQ(FitColumns("\xC3", 20), "?");
    EXPECT_EQ(FitColumns("\xC3(", 20), "?(");
    EXPECT_EQ(FitColumns("\xE2\x82", 20), "??");
    EXPECT_EQ(FitColumns("\x80\xC0\xAF\xF5", 20), "????");
}

}  // namespace
}  // namespace Simulator
