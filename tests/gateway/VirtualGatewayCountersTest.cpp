#include <gtest/gtest.h>

#include <deque>
#include <utility>

#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ProgramClock.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::READY;

constexpr const char* kOrphanText = "But no request message was found in the waiting message map.";

class CountersTest : public GatewayTest {
  protected:
    using GatewayTest::GatewayTest;

    // The first cycle of the sender has a keep-alive, and none comes between the requests later, however slow the
    // machine is.
    const StandingClock clock_{1000000000};
};

class LastCountersTest : public CountersTest {
  protected:
    LastCountersTest() : CountersTest(std::make_shared<Brenk::Messages::BrenkMessageBuilder>(0xFFFFFFFF, 63)) {}
};

TEST_F(CountersTest, After63SendsTheReferenceIDReturnsTo1) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    StartSending();
    // Built one after the other, each when the send before has moved the counters; the keep-alive sends first.
    std::deque<std::pair<unsigned, unsigned>> built;
    unsigned sent = 0;
    for (;;) {
        const Bytes frame = connection_.ReceiveFrame();
        ASSERT_FALSE(frame.empty());
        if (DeviceAddressOf(frame) != kRefreshAddress) {
            EXPECT_EQ(std::make_pair(ReferenceIDOf(frame) + 0U, SequenceCounterOf(frame)), built.front());
            built.pop_front();
        }
        ++sent;
        ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == sent % 63 + 1; })) << sent << " sent";
        EXPECT_EQ(builder_->SequenceCounter(), sent);
        if (sent == 70) {
            break;
        }
        ASSERT_TRUE(gateway_->GetNodeStatus("request-" + std::to_string(sent), 5, Context(1)));
        built.emplace_back(sent % 63 + 1, sent + 1);
    }
}

TEST_F(CountersTest, TwoRequestsOfOneSendPeriodCarryTheSameCountersAndOnlyTheFirstIsKept) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(gateway_->GetNodeStatus("request-2", 6, Context(2)));
    const Bytes first = connection_.ReceiveLockFrame();
    const Bytes second = connection_.ReceiveLockFrame();
    EXPECT_EQ(DeviceAddressOf(first), 5U);
    EXPECT_EQ(DeviceAddressOf(second), 6U);
    EXPECT_EQ(ReferenceIDOf(first), ReferenceIDOf(second));
    EXPECT_EQ(SequenceCounterOf(first), SequenceCounterOf(second));
    ASSERT_TRUE(WaitUntil([&] { return builder_->SequenceCounter() == 3; }));
    EXPECT_EQ(builder_->ReferenceID(), 4);

    connection_.Send(ResultFrame(ReferenceIDOf(first), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
    connection_.Send(ResultFrame(ReferenceIDOf(second), 0));
    EXPECT_TRUE(log_.WaitFor(plog::warning, kOrphanText));
    EXPECT_EQ(owner_.Responses().size(), 1U);
}

TEST_F(LastCountersTest, TheCountersWrapInTheFrame) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    StartSending();
    // Written by hand from the frame layout; CRC by python3, binascii.crc_hqx(data, 0).
    EXPECT_EQ(connection_.ReceiveLockFrame(), FromHex("13 FE FD 0E 01 00 00 3F 00 00 00 00 00 00 00 05 01 11 41"));
    // The keep-alive of the first cycle was built before the counters moved.
    const Bytes keepAlive = connection_.ReceiveFrame();
    EXPECT_EQ(DeviceAddressOf(keepAlive), kRefreshAddress);
    EXPECT_EQ(ReferenceIDOf(keepAlive), 63);
    EXPECT_EQ(SequenceCounterOf(keepAlive), 0U);
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == 2; }));
    EXPECT_EQ(builder_->SequenceCounter(), 1U);
}

TEST_F(CountersTest, TheCounterThatAGatewayAnnouncesIsWrittenOnWithOneMore) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    ASSERT_NO_FATAL_FAILURE(PassFirstRefresh());
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == 3; }));
    // Both refreshes were built in one period and carry the same reference ID, under which the first waits.
    connection_.Send(ResultFrame(1, 7, 0x01020304));
    ASSERT_TRUE(owner_.WaitForStateChanges(2));
    EXPECT_EQ(owner_.Steps().back(), std::make_pair(CONNECTED, READY));
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-1")), 0x01020305U);
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-2")), 0x01020306U);
}

TEST_F(CountersTest, TheGreatestCounterThatAGatewayAnnouncesWraps) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 7, 0xFFFFFFFF));
    ASSERT_TRUE(WaitUntil([&] { return gateway_->IsSequenceCounterKnown(); }));
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-2")), 0U);
}

// The sender stands right behind its call of send, whose answer is then handled to its end.
TEST_F(CountersTest, AnAnnouncedCounterIsNotAdvancedByTheSendThatProvokedItHoweverFastTheAnswerComes) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate afterSend("Send result:");
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    const Bytes frame = connection_.ReceiveLockFrame();
    ASSERT_TRUE(afterSend.WaitForArrival());
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 7, 0x0A0B0C0D));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Ended management."));
    EXPECT_EQ(builder_->SequenceCounter(), 0x0A0B0C0DU);
    afterSend.Open();
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == 3; }));
    EXPECT_EQ(builder_->SequenceCounter(), 0x0A0B0C0DU);
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-2")), 0x0A0B0C0EU);
}

// The read thread removes the request while the sender has not yet logged its sending.
TEST_F(CountersTest, ARequestThatIsAnsweredBeforeTheSenderIsDoneWithItIsFreedWhenBothAre) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate afterSend("Send result:");
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    const Bytes frame = connection_.ReceiveLockFrame();
    ASSERT_TRUE(afterSend.WaitForArrival());
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Ended management."));
    EXPECT_EQ(owner_.Responses().size(), 1U);
    EXPECT_FALSE(log_.Holds(plog::verbose, "Internal request message set. Deallocate message memory."));
    afterSend.Open();
    EXPECT_TRUE(log_.WaitFor(plog::verbose,
                             "Binary serialized message with ID request-1 and ReferenceID \x02 sent using gateway "
                             "socket send."));
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Internal request message set. Deallocate message memory."));
}

// The record that the map did not keep belongs to the sender alone.
TEST_F(CountersTest, ARequestThatWasNotKeptIsFreedByTheSender) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(gateway_->GetNodeStatus("request-2", 6, Context(2)));
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Internal request message set. Deallocate message memory."));
}

}  // namespace
}  // namespace Testing
