#include "messages/FrameReader.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <stdexcept>
#include <vector>

#include "tests/messages/WireBytes.h"

namespace Brenk::Messages {
namespace {

using Testing::FromHex;

constexpr std::size_t kHighestOffset = std::numeric_limits<std::size_t>::max();

class FrameReaderTest : public testing::Test {
  protected:
    const std::vector<unsigned char> frame_ = FromHex("06 FE FD 81 02 FF");
    const FrameReader reader_{frame_};
};

TEST_F(FrameReaderTest, ReadsBytesNumbersAndPiecesMostSignificantByteFirst) {
    EXPECT_EQ(reader_.Byte(0), 0x06);
    EXPECT_EQ(reader_.Byte(5), 0xFF);
    EXPECT_EQ(reader_.BigEndian32(0), 0x06FEFD81U);
    EXPECT_EQ(reader_.BigEndian32(2), 0xFD8102FFU);
    EXPECT_EQ(reader_.Bytes(1, 3), FromHex("FE FD 81"));
    EXPECT_EQ(reader_.Bytes(0, 6), frame_);
    EXPECT_EQ(reader_.Array<3>(3), (std::array<std::uint8_t, 3>{0x81, 0x02, 0xFF}));
}

TEST_F(FrameReaderTest, NoBytesCanBeReadAnywhere) {
    for (const std::size_t offset : {std::size_t{0}, std::size_t{6}, std::size_t{7}, kHighestOffset}) {
        EXPECT_TRUE(reader_.Bytes(offset, 0).empty()) << offset;
    }
}

TEST_F(FrameReaderTest, WhatIsNotWhollyInTheFrameIsOutOfRange) {
    EXPECT_THROW(reader_.Byte(6), std::out_of_range);
    EXPECT_THROW(reader_.Byte(kHighestOffset), std::out_of_range);
    for (const std::size_t offset : {std::size_t{3}, std::size_t{5}, std::size_t{6}, kHighestOffset}) {
        EXPECT_THROW(reader_.BigEndian32(offset), std::out_of_range) << offset;
    }
    EXPECT_THROW(reader_.Bytes(0, 7), std::out_of_range);
    EXPECT_THROW(reader_.Bytes(5, 2), std::out_of_range);
    EXPECT_THROW(reader_.Bytes(6, 1), std::out_of_range);
    EXPECT_THROW(reader_.Bytes(kHighestOffset, 2), std::out_of_range);
    EXPECT_THROW(reader_.Array<3>(4), std::out_of_range);
    EXPECT_THROW(reader_.Array<7>(0), std::out_of_range);
}

}  // namespace
}  // namespace Brenk::Messages
