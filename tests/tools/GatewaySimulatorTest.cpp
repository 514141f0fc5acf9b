// A gateway on a real port, seen through a plain socket. The frames were laid out by hand and their checksums computed
// with Python: binascii.crc_hqx(frame, 0).

#include "tools/gateway-simulator/GatewaySimulator.h"

#include <gtest/gtest.h>

#include <array>
#include <system_error>
#include <thread>

#include "tests/support/WaitUntil.h"
#include "tests/tools/OpenLockFrames.h"
#include "tests/tools/PlainSocket.h"
#include "tools/gateway-simulator/FrameCodec.h"

namespace Simulator {
namespace {

using std::chrono::milliseconds;
using Testing::kNextOk;
using Testing::kNextOpen;
using Testing::kOk;
using Testing::kOpen;
using Testing::PlainSocket;
using Testing::WaitUntil;

const std::string kCardEvent5 =
    "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 0E 00 00 00 00 00 00 00 04 04 A1 B2 C3 AB 10";
const std::string kPinEvent5 =
    "1F FE FD 1A 01 00 00 00 00 00 00 02 00 00 00 05 16 00 00 00 00 00 00 00 04 31 32 33 34 B0 18";

SimulatorOptions TwoLocks() {
    SimulatorOptions options;
    options.locks = {5, 6};
    return options;
}

class GatewaySimulatorTest : public testing::Test {
  protected:
    GatewaySimulatorTest() { gateway_.Start(); }

    // Starts the socket's wait for an answer only when the gateway knows about the connection.
    void AwaitConnection() {
        ASSERT_TRUE(WaitUntil([&] { return gateway_.IsConnected(); }));
    }

    GatewaySimulator gateway_{TwoLocks()};
};

TEST_F(GatewaySimulatorTest, AnswersAHeaderThatItDoesNotKnowAndKeepsItsCounter) {
    PlainSocket client(gateway_.Port());
    client.Send("17 FE FD 12 02 00 00 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 B1 FA");
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 05 89 79") << "of the version";
    client.Send("17 FE FD 12 01 00 01 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 2E 20");
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 0A 78 96") << "reserved bytes";
    EXPECT_EQ(gateway_.Counter(), 1000U);
}

TEST_F(GatewaySimulatorTest, DropsWhatIsNoFrameAndReportsIt) {
    PlainSocket client(gateway_.Port());
    client.Send("17 FE FD 12 01 00 00 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 80 DD DE AD BE EF" + kOpen);
    EXPECT_EQ(client.Receive(20), kOk);
    ASSERT_TRUE(gateway_.WaitForFrames(3));
    EXPECT_EQ(gateway_.ReceivedFrames().at(0).verdict, Verdict::kChecksum);
    EXPECT_EQ(gateway_.ReceivedFrames().at(1).verdict, Verdict::kMagic);
    EXPECT_EQ(gateway_.ReceivedFrames().at(1).bytes, Bytes({0xDE, 0xAD, 0xBE, 0xEF}));
    EXPECT_EQ(gateway_.ReceivedFrames().at(2).verdict, Verdict::kGood);
}

TEST_F(GatewaySimulatorTest, RemembersWhatItReceivedAndWhen) {
    const auto before = std::chrono::steady_clock::now();
    PlainSocket client(gateway_.Port());
    client.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    const ReceivedFrame received = gateway_.ReceivedFrames().at(0);
    EXPECT_EQ(Testing::ToHex(received.bytes), kOpen);
    EXPECT_EQ(received.frame.code, 0x0A);
    EXPECT_EQ(received.frame.referenceId, 3);
    EXPECT_EQ(received.frame.sequenceCounter, 1001U);
    EXPECT_EQ(received.connection, 1U);
    EXPECT_GE(received.arrival, before);
    EXPECT_LE(received.arrival, std::chrono::steady_clock::now());
}

TEST_F(GatewaySimulatorTest, SendsEventsInTheirOrder) {
    PlainSocket client(gateway_.Port());
    AwaitConnection();
    EXPECT_TRUE(gateway_.RaiseCard(5, {0x04, 0xA1, 0xB2, 0xC3}));
    EXPECT_TRUE(gateway_.RaisePin(5, "1234"));
    EXPECT_EQ(client.Receive(62), kCardEvent5 + " " + kPinEvent5);
}

TEST_F(GatewaySimulatorTest, SendsEventsToTheConnectionAcceptedLastAndAnswersToTheOneThatAsked) {
    PlainSocket first(gateway_.Port());
    AwaitConnection();
    PlainSocket second(gateway_.Port());
    ASSERT_TRUE(WaitUntil([&] { return gateway_.ConnectionCount() == 2; }));
    first.Send(kOpen);
    EXPECT_EQ(first.Receive(20), kOk);
    gateway_.RaiseCard(5, {0x04, 0xA1, 0xB2, 0xC3});
    EXPECT_EQ(second.Receive(31), kCardEvent5);
    second.Close();
    ASSERT_TRUE(WaitUntil([&] { return gateway_.RaisePin(5, "1") && !first.IsQuietFor(milliseconds(1)); }));
}

TEST_F(GatewaySimulatorTest, ClosesInOrderAlsoWhileThePeerGoesOnSending) {
    PlainSocket client(gateway_.Port());
    AwaitConnection();
    gateway_.CloseConnection();
    client.Send(kOpen);
    client.Send(kNextOpen);
    EXPECT_EQ(client.WaitForEnding(), PlainSocket::Ending::kClosed);
    EXPECT_EQ(gateway_.ReceivedFrames().size(), 0U);
}

TEST_F(GatewaySimulatorTest, RefusesConnectionsForAWhileOnly) {
    PlainSocket standing(gateway_.Port());
    AwaitConnection();
    const auto start = std::chrono::steady_clock::now();
    gateway_.RefuseConnections(milliseconds(100));
    standing.Send(kOpen);
    EXPECT_EQ(standing.Receive(20), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Testing::IsListenedOn(gateway_.Port()); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(100));
}

TEST_F(GatewaySimulatorTest, KeepsPortLocksAndCounterOverAStop) {
    const std::uint16_t port = gateway_.Port();
    PlainSocket client(port);
    client.Send(kOpen);
    client.Receive(20);
    gateway_.Stop();
    EXPECT_EQ(client.WaitForEnding(), PlainSocket::Ending::kClosed);
    EXPECT_FALSE(Testing::IsListenedOn(port));
    gateway_.Start();
    PlainSocket next(port);
    next.Send(kNextOpen);
    EXPECT_EQ(next.Receive(20), kNextOk);
}

TEST_F(GatewaySimulatorTest, MayBeUsedFromSeveralThreads) {
    PlainSocket client(gateway_.Port());
    AwaitConnection();
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int round = 0; round < 50; ++round) {
                gateway_.RaisePin(5, "1234");
                gateway_.Inject(Fault::Delay(milliseconds(1)));
                gateway_.ReceivedFrames();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    constexpr std::size_t kBytes = 200UL * 31UL;
    // Two digits for each byte of the 200 events, and a blank between two bytes.
    EXPECT_EQ(client.Receive(kBytes).size(), kBytes * 3 - 1);
}

}  // namespace
}  // namespace Simulator
