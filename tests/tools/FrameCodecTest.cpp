// The frames were laid out by hand and their checksums computed with Python: binascii.crc_hqx(frame, 0).

#include "tools/gateway-simulator/FrameCodec.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/support/Hex.h"

namespace Simulator {
namespace {

using Testing::FromHex;
using Testing::ToHex;

constexpr const char* kOpenLock = "17 FE FD 12 01 00 00 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 80 DC";

Bytes OpenLockWith(std::size_t offset, std::uint8_t value) {
    Bytes bytes = FromHex(kOpenLock);
    bytes.at(offset) = value;
    return bytes;
}

TEST(FrameCodecTest, EncodesPayloadBehindTheCode) {
    Frame frame;
    frame.referenceId = 1;
    frame.sequenceCounter = 1;
    frame.deviceAddress = 0x100;
    frame.payload = {0x07, 0x00, 0x00, 0x03, 0xE8};
    EXPECT_EQ(ToHex(EncodeFrame(frame)), "18 FE FD 13 01 00 00 01 00 00 00 01 00 00 01 00 00 07 00 00 03 E8 A7 07");
}

TEST(FrameCodecTest, EncodesTheLongestPayload) {
    Frame frame;
    frame.referenceId = 1;
    frame.sequenceCounter = 2;
    frame.deviceAddress = 3;
    frame.code = 3;
    frame.payload = Bytes(236, 0x55);
    const Bytes bytes = EncodeFrame(frame);
    ASSERT_EQ(bytes.size(), 255U);
    EXPECT_EQ(bytes.at(0), 0xFF);
    EXPECT_EQ(bytes.at(3), 0xFA);
    EXPECT_EQ(bytes.at(253), 0xC3);
    EXPECT_EQ(bytes.at(254), 0x04);
}

TEST(FrameCodecTest, RefusesAPayloadThatNoLengthByteCanTell) {
    Frame frame;
    frame.payload = Bytes(237, 0x55);
    EXPECT_THROW(EncodeFrame(frame), std::length_error);
}

TEST(FrameCodecTest, DecodesEveryField) {
    const DecodedFrame decoded = DecodeFrame(FromHex(kOpenLock));
    EXPECT_EQ(decoded.verdict, Verdict::kGood);
    EXPECT_EQ(decoded.frame.headerVersion, 1);
    EXPECT_EQ(decoded.frame.referenceId, 3);
    EXPECT_EQ(decoded.frame.sequenceCounter, 1001U);
    EXPECT_EQ(decoded.frame.deviceAddress, 5U);
    EXPECT_EQ(decoded.frame.code, 0x0A);
    EXPECT_EQ(decoded.frame.payload, Bytes({0, 0, 0, 0}));
}

TEST(FrameCodecTest, FindsWhatIsWrong) {
    EXPECT_EQ(DecodeFrame({}).verdict, Verdict::kTooShort);
    EXPECT_EQ(DecodeFrame(Bytes(18)).verdict, Verdict::kTooShort);
    EXPECT_EQ(DecodeFrame(OpenLockWith(1, 0xFD)).verdict, Verdict::kMagic);
    EXPECT_EQ(DecodeFrame(OpenLockWith(2, 0xFE)).verdict, Verdict::kMagic);
    EXPECT_EQ(DecodeFrame(OpenLockWith(0, 0x16)).verdict, Verdict::kTotalLength);
    EXPECT_EQ(DecodeFrame(OpenLockWith(3, 0x11)).verdict, Verdict::kRemainingLength);
    EXPECT_EQ(DecodeFrame(OpenLockWith(21, 0x81)).verdict, Verdict::kChecksum);
    const std::string fields = " 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 ";
    EXPECT_EQ(DecodeFrame(FromHex("17 FE FD 12 02 00 00" + fields + "B1 FA")).verdict, Verdict::kHeaderVersion);
    EXPECT_EQ(DecodeFrame(FromHex("17 FE FD 12 01 00 01" + fields + "2E 20")).verdict, Verdict::kReserved);
    EXPECT_EQ(DecodeFrame(FromHex("17 FE FD 12 01 80 00" + fields + "88 AD")).verdict, Verdict::kReserved);
}

TEST(FrameCodecTest, FindsAnyChangedByteThatTheChecksumCovers) {
    for (std::size_t offset = 4; offset < 21; ++offset) {
        const auto changed = static_cast<std::uint8_t>(FromHex(kOpenLock).at(offset) ^ 0x40U);
        EXPECT_EQ(DecodeFrame(OpenLockWith(offset, changed)).verdict, Verdict::kChecksum) << "offset " << offset;
    }
}

}  // namespace
}  // namespace Simulator
