#include "messages/crc/CRC16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

// The expected values are those of another implementation: python3, binascii.crc_hqx(data, 0).

namespace Brenk::CRC {
namespace {

using Testing::Bytes;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Pair;

Bytes Ascii(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

TEST(CRC16, TheAsciiString123456789Gives31C3) {
    Bytes data = Ascii("123456789");
    EXPECT_EQ(CRC16::XModem(data), 0x31C3);
}

TEST(CRC16, AnEmptyVectorGivesZero) {
    Bytes data;
    EXPECT_EQ(CRC16::XModem(data), 0);
}

TEST(CRC16, SingleBytesGiveTheirKnownValues) {
    Bytes zero = {0x00};
    Bytes letterA = {'A'};
    Bytes allOnes = {0xFF};
    EXPECT_EQ(CRC16::XModem(zero), 0x0000);
    EXPECT_EQ(CRC16::XModem(letterA), 0x58E5);
    EXPECT_EQ(CRC16::XModem(allOnes), 0x1EF0);
}

TEST(CRC16, EveryByteValueInARowGives7E55) {
    Bytes data(256);
    std::iota(data.begin(), data.end(), static_cast<unsigned char>(0));
    EXPECT_EQ(CRC16::XModem(data), 0x7E55);
}

TEST(CRC16, TheDataIsLeftAsItIs) {
    Bytes data = Ascii("123456789");
    CRC16::XModem(data);
    EXPECT_EQ(data, Ascii("123456789"));
}

TEST(CRC16, SizeAndResultAreLoggedAtDebugAsNumbers) {
    const Testing::CapturedLog log;
    Bytes data = Ascii("123456789");
    CRC16::XModem(data);
    EXPECT_THAT(log.Lines(), ElementsAre(Pair(plog::debug, EndsWith(") CRC Vector size: 9")),
                                         Pair(plog::debug, EndsWith(") CRC Value: 12739"))));
}

}  // namespace
}  // namespace Brenk::CRC
