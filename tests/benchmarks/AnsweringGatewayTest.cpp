// The frames were laid out by hand and their checksums computed with Python: binascii.crc_hqx(frame, 0).

#include "benchmarks/load/AnsweringGateway.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "benchmarks/load/Waiting.h"
#include "tests/support/LoopbackSocket.h"

namespace Load {
namespace {

using Simulator::FromHex;
using Simulator::ToHex;
using Testing::LoopbackSocket;

constexpr const char* kCounterRequest =
    "13FEFD0E0100000100000001000001000"
    "1084B";
constexpr const char* kCounterAnswer = "18FEFD130100000100000001000001000007000000019E53";
constexpr const char* kOpenRequest = "17FEFD120100000311223344000000050A000000001104";
constexpr const char* kOpenAnswer = "14FEFD0F01000003112233440000000500002A4D";
constexpr const char* kCard = "1FFEFD1A0100000000000001000000050E000000000000000401020304770E";

class AnsweringGatewayTest : public testing::Test {
  protected:
    AnsweringGatewayTest() {
        gateway_.OnFrame([this](Clock::time_point arrival) {
            ++frames_;
            arrival_ = arrival;
        });
    }

    void AwaitFrames(std::size_t count) {
        RunUntil(
            loop_, [&] { return frames_ == count; }, "the frames");
    }

    asio::io_context loop_;
    AnsweringGateway gateway_{loop_};
    std::size_t frames_ = 0;
    Clock::time_point arrival_;
};

TEST_F(AnsweringGatewayTest, AnswersEveryFrameThatArrives) {
    LoopbackSocket server = LoopbackSocket::ConnectedTo(gateway_.Port());
    EXPECT_FALSE(gateway_.IsInUse());
    server.Send(*FromHex(std::string(kCounterRequest) + kOpenRequest));
    AwaitFrames(2);
    EXPECT_TRUE(gateway_.IsInUse());
    EXPECT_EQ(ToHex(server.Receive(44)), std::string(kCounterAnswer) + kOpenAnswer);
}

TEST_F(AnsweringGatewayTest, ServesWhoeverConnectedLast) {
    LoopbackSocket first = LoopbackSocket::ConnectedTo(gateway_.Port());
    first.Send(*FromHex(kOpenRequest));
    AwaitFrames(1);
    first.Close();
    LoopbackSocket second = LoopbackSocket::ConnectedTo(gateway_.Port());
    second.Send(*FromHex(kOpenRequest));
    AwaitFrames(2);
    EXPECT_EQ(ToHex(second.Receive(20)), kOpenAnswer);
}

TEST_F(AnsweringGatewayTest, RaisesACardAndTellsWhen) {
    LoopbackSocket server = LoopbackSocket::ConnectedTo(gateway_.Port());
    server.Send(*FromHex(kOpenRequest));
    AwaitFrames(1);
    server.Receive(20);
    const Clock::time_point before = Clock::now();
    const Clock::time_point raised = gateway_.RaiseCard(0x01020304);
    EXPECT_LE(before, raised);
    EXPECT_LE(raised, gateway_.LastSent());
    EXPECT_EQ(ToHex(server.Receive(31)), kCard);
}

TEST_F(AnsweringGatewayTest, AFrameWithAWrongChecksumEndsTheMeasurement) {
    LoopbackSocket server = LoopbackSocket::ConnectedTo(gateway_.Port());
    server.Send(*FromHex("17FEFD120100000311223344000000050A000000001105"));
    EXPECT_THROW(AwaitFrames(1), std::runtime_error);
}

}  // namespace
}  // namespace Load
