#include "messages/crc/CRC16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <utility>

#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoggedLine.h"

// The expected values are those of another implementation: python3, binascii.crc_hqx(data, 0).

namespace Brenk::CRC {
namespace {

using Testing::Bytes;
using Testing::Logged;

TEST(CRC16, IsTheXModemChecksum) {
    Bytes everyByte(256);
    std::iota(everyByte.begin(), everyByte.end(), static_cast<unsigned char>(0));
    const std::pair<Bytes, std::uint16_t> expected[] = {
        {{}, 0}, {{0x00}, 0}, {{'A'}, 0x58E5}, {{0xFF}, 0x1EF0}, {everyByte, 0x7E55}};
    for (const auto& [data, crc] : expected) {
        Bytes checked = data;
        EXPECT_EQ(CRC16::XModem(checked), crc);
        EXPECT_EQ(checked, data);
    }
}

TEST(CRC16, LogsSizeAndResultAsNumbers) {
    const Testing::CapturedLog log;
    Bytes data = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(CRC16::XModem(data), 0x31C3);
    EXPECT_THAT(log.Lines(), testing::ElementsAre(Logged(plog::debug, "CRC Vector size: 9"),
                                                  Logged(plog::debug, "CRC Value: 12739")));
}

}  // namespace
}  // namespace Brenk::CRC
