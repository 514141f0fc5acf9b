// Every fault on the wire, seen through a plain socket. The frames were laid out by hand and their checksums computed
// with Python: binascii.crc_hqx(frame, 0).

#include <gtest/gtest.h>

#include "tests/support/WaitUntil.h"
#include "tests/tools/OpenLockFrames.h"
#include "tests/tools/PlainSocket.h"
#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Testing::kNextOk;
using Testing::kNextOpen;
using Testing::kOk;
using Testing::kOpen;
using Testing::PlainSocket;

const std::string kWrongCounter = "13 FE FD 0E 01 00 00 01 00 00 00 01 00 00 01 00 01 08 4B";
const std::string kCounterError = "18 FE FD 13 01 00 00 01 00 00 00 01 00 00 01 00 00 07 00 00 03 E8 A7 07";
const std::string kPinEvent =
    "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 16 00 00 00 00 00 00 00 04 31 32 33 34 B0 6A";

SimulatorOptions OneLock() {
    SimulatorOptions options;
    options.locks = {5};
    return options;
}

class GatewaySimulatorFaultTest : public testing::Test {
  protected:
    bool IsOpen() const { return gateway_.FindLock(5)->StateAt(Lock::Clock::now()) == Lock::State::kOpen; }

    // Sends the second request and waits for its answer: whatever came before is complete then.
    std::string AskNext() {
        client_.Send(kNextOpen);
        return client_.Receive(20);
    }

    static std::uint16_t Start(GatewaySimulator& gateway) {
        gateway.Start();
        return gateway.Port();
    }

    GatewaySimulator gateway_{OneLock()};
    PlainSocket client_{Start(gateway_)};
};

TEST_F(GatewaySimulatorFaultTest, DelaysAnAnswerAndNotTheNext) {
    gateway_.Inject(Fault::Delay(milliseconds(500)));
    const auto start = std::chrono::steady_clock::now();
    client_.Send(kOpen);
    EXPECT_EQ(AskNext(), kNextOk);
    EXPECT_EQ(client_.Receive(20), kOk);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(500));
}

TEST_F(GatewaySimulatorFaultTest, NeverAnswersButCarriesOut) {
    gateway_.Inject(Fault::Silence());
    client_.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    EXPECT_TRUE(IsOpen());
    EXPECT_EQ(AskNext(), kNextOk);
}

TEST_F(GatewaySimulatorFaultTest, SendsByteByByte) {
    gateway_.Inject(Fault::ByteByByte(milliseconds(5)));
    const auto start = std::chrono::steady_clock::now();
    client_.Send(kOpen);
    EXPECT_EQ(client_.Receive(1), "14");
    EXPECT_EQ(client_.Receive(19), kOk.substr(3));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(19 * 5));
}

struct FaultCase {
    std::vector<Fault> faults;
    std::string received;
    PlainSocket::Ending ending = PlainSocket::Ending::kNone;
};

TEST_F(GatewaySimulatorFaultTest, SpoilsOneAnswerInEachWay) {
    using Ending = PlainSocket::Ending;
    const std::string half = "14 FE FD 0F 01 00 00 03 00 00";
    const std::vector<FaultCase> cases = {
        {{Fault::Close()}, "", Ending::kClosed},
        {{Fault::Reset()}, "", Ending::kReset},
        {{Fault::CloseMidFrame()}, half, Ending::kClosed},
        {{Fault::CloseMidFrame(), Fault::ByteByByte(milliseconds(2))}, half, Ending::kClosed},
        {{Fault::Junk({0xDE, 0xAD})}, "DE AD " + kOk},
        {{Fault::WrongCrc(), Fault::WrongLength(0x15), Fault::UnknownReference()},
         "15 FE FD 0F 01 00 00 23 00 00 03 E9 00 00 00 05 00 00 8C 59"},
        {{Fault::Twice()}, kOk + " " + kOk},
        {{Fault::AnswerCode(0x33)}, "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 33 00 89 1A"},
        {{Fault::ForceResult(12)}, "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 0C 18 50"},
        {{Fault::ForceResult(7)}, "18 FE FD 13 01 00 00 03 00 00 03 E9 00 00 00 05 00 07 00 00 03 E9 04 9F"},
    };
    for (const FaultCase& row : cases) {
        SCOPED_TRACE(row.received);
        gateway_.SetCounter(1000);
        PlainSocket client(gateway_.Port());
        for (const Fault& fault : row.faults) {
            gateway_.Inject(fault);
        }
        client.Send(kOpen);
        EXPECT_EQ(client.Receive((row.received.size() + 1) / 3), row.received);
        if (row.ending == Ending::kNone) {
            client.Send(kNextOpen);
            EXPECT_EQ(client.Receive(20), kNextOk) << "of the next request, which is answered well";
        } else {
            EXPECT_EQ(client.WaitForEnding(), row.ending);
        }
    }
}

TEST_F(GatewaySimulatorFaultTest, KeepsOrderBehindBytesSentOneByOne) {
    gateway_.Inject(Fault::ByteByByte(milliseconds(2)));
    client_.Send(kOpen + kNextOpen);
    EXPECT_EQ(client_.Receive(40), kOk + " " + kNextOk);
}

TEST_F(GatewaySimulatorFaultTest, GluesAnAnswerToTheNextAnswer) {
    gateway_.Inject(Fault::Glue());
    client_.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    EXPECT_TRUE(client_.IsQuietFor(milliseconds(50)));
    client_.Send(kNextOpen);
    EXPECT_EQ(client_.Receive(40), kOk + " " + kNextOk);
}

TEST_F(GatewaySimulatorFaultTest, GluesAnAnswerToAnEvent) {
    gateway_.Inject(Fault::Glue());
    client_.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    gateway_.RaisePin(5, "1234");
    EXPECT_EQ(client_.Receive(51), kOk + " " + kPinEvent);
}

TEST_F(GatewaySimulatorFaultTest, KeepsTheForcedResultForARequestWithAGoodCounter) {
    gateway_.Inject(Fault::ForceResult(12));
    client_.Send(kWrongCounter);
    EXPECT_EQ(client_.Receive(24), kCounterError);
    client_.Send(kOpen);
    EXPECT_EQ(client_.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 0C 18 50");
    EXPECT_FALSE(IsOpen()) << "nothing is carried out";
}

TEST_F(GatewaySimulatorFaultTest, AppliesToTheAnswersOfOneLockOnly) {
    gateway_.Inject(Fault::Twice().ForLock(5));
    client_.Send(kWrongCounter);
    EXPECT_EQ(client_.Receive(24), kCounterError);
    client_.Send(kOpen);
    EXPECT_EQ(client_.Receive(40), kOk + " " + kOk);
}

TEST_F(GatewaySimulatorFaultTest, DoesNotTouchEvents) {
    gateway_.Inject(Fault::Silence());
    ASSERT_TRUE(Testing::WaitUntil([&] { return gateway_.IsConnected(); }));
    gateway_.RaisePin(5, "1234");
    EXPECT_EQ(client_.Receive(31), kPinEvent);
    EXPECT_EQ(gateway_.Faults().size(), 1U);
}

TEST_F(GatewaySimulatorFaultTest, ForgetsAnAnswerWhoseConnectionEndedMeanwhile) {
    gateway_.Inject(Fault::Delay(milliseconds(30)));
    client_.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    gateway_.ResetConnection();
    PlainSocket next(gateway_.Port());
    EXPECT_TRUE(next.IsQuietFor(milliseconds(60)));
    next.Send(kNextOpen);
    EXPECT_EQ(next.Receive(20), kNextOk);
}

TEST_F(GatewaySimulatorFaultTest, StopsWhileAnAnswerIsDelayed) {
    gateway_.Inject(Fault::Delay(seconds(3600)));
    client_.Send(kOpen);
    ASSERT_TRUE(gateway_.WaitForFrames(1));
    gateway_.Stop();
    EXPECT_EQ(client_.WaitForEnding(), PlainSocket::Ending::kClosed);
}

}  // namespace
}  // namespace Simulator
