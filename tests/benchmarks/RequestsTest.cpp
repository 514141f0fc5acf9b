#include "benchmarks/load/Requests.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Load {
namespace {

TEST(RequestsTest, APacketIsItsWholeLengthLittleEndianThenTheMagicThenTheText) {
    EXPECT_EQ(PacketAround("{}"), std::string("\x08\x00MUXM{}", 8));
}

TEST(RequestsTest, ALongPacketUsesBothBytesOfTheLength) {
    const std::string packet = PacketAround(std::string(300, 'x'));
    EXPECT_EQ(packet.substr(0, 7), std::string("\x32\x01MUXMx", 7));
    EXPECT_EQ(packet.size(), 306U);
}

TEST(RequestsTest, TheLongestPacketHas65535Bytes) {
    EXPECT_EQ(PacketAround(std::string(65529, 'x')).substr(0, 2), "\xFF\xFF");
    EXPECT_THROW(PacketAround(std::string(65530, 'x')), std::length_error);
}

TEST(RequestsTest, ARequestToOpenNamesItsGateway) {
    // 95 characters of text and 6 of header make 0x65.
    EXPECT_EQ(OpenRequest("id-1", 64),
              std::string("\x65\x00MUXM", 6) +
                  R"({"Timestamp":1700000000,"MessageID":"id-1","MessageCode":10,"Data":{"gatewayID":64,"lockID":5}})");
}

TEST(RequestsTest, ARequestToBeRefusedNamesAGatewayBeyondAllThatAreConfigured) {
    EXPECT_NE(RefusedRequest("id-1").find(R"("gatewayID":999999,)"), std::string::npos);
}

}  // namespace
}  // namespace Load
