#include <gtest/gtest.h>

#include <utility>

#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ProgramClock.h"
#include "tests/gateway/ThreadFaults.h"

namespace Testing {
namespace {

using Brenk::Messages::BrenkFrameHeader;
using Brenk::Messages::BrenkMessage;

constexpr const char* kOrphanText =
    "A reply message was sent from gateway. But no request message was found in the waiting message map. The message "
    "is lost";
constexpr const char* kRemovedText = "Remove the request from the pending list.";
constexpr const char* kEndedText = "Ended management.";

class AnswersTest : public GatewayTest {
  protected:
    using GatewayTest::GatewayTest;

    // An answer that no gateway can send: Parse gives every answer of these types its payload.
    BrenkMessage* AnswerWithoutPayload(std::uint8_t type, std::uint8_t referenceID) {
        BrenkFrameHeader header;
        header.payloadType = type;
        header.referenceID = referenceID;
        return new BrenkMessage(header);
    }
};

// Its first reference ID has bits that the two masks of the log tell apart.
class LateAnswersTest : public AnswersTest {
  protected:
    LateAnswersTest() : AnswersTest(std::make_shared<Brenk::Messages::BrenkMessageBuilder>(0, 44)) {}
};

TEST_F(LateAnswersTest, EveryStepOfAnAnswerIsLoggedInItsOrderAndTheCallbackComesBetweenWhileTheLockIsHeld) {
    std::pair<int, int> linesBeforeCallback;
    owner_.onResponse = [&](const ReceivedResponse&) {
        linesBeforeCallback = {log_.Count(plog::info, "Response from gateway: OK for message with ID request-1"),
                               log_.Count(plog::verbose, "Clear memory for the request.")};
    };
    // The refresh takes 44 (0x2C), the requests 45 and 46.
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::uint8_t referenceID = ReferenceIDOf(SendStatusRequest("request-1"));
    SendStatusRequest("request-2");
    ASSERT_EQ(referenceID, 45);
    connection_.Send(ResultFrame(0xC0 | 45, 0));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    ExpectInOrder({{plog::debug, "Message fetched and translated. Erasing the array from the buffer."},
                   {plog::debug, "Managing new message"},
                   {plog::verbose, "ReplyReferenceID 45"},
                   {plog::verbose, "ReplyReferenceID LE236"},
                   {plog::verbose, "ReplyReferenceID BE45"},
                   {plog::verbose, "Waiting message count 3"},
                   {plog::verbose, "Message pending with refereceID 45 and Message ID request-1"},
                   {plog::verbose, "Message pending with refereceID 45 and Message ID request-2"},
                   {plog::info, "Response from gateway: OK for message with ID request-1"},
                   {plog::verbose, "Clear memory for the request."},
                   {plog::verbose, "Internal request message set. Deallocate message memory."},
                   {plog::verbose, kRemovedText},
                   {plog::verbose, "Clear memory for the parsed response message."},
                   {plog::verbose, kEndedText}});
    EXPECT_EQ(linesBeforeCallback, std::make_pair(1, 0));
    EXPECT_TRUE(owner_.Responses().at(0).underLock);
    EXPECT_EQ(log_.Count(plog::debug, "Managing new message"), 1);
    EXPECT_TRUE(log_.Holds(plog::verbose, "Message pending with refereceID 45 and Message ID requestNewSEQID-"));
}

TEST_F(AnswersTest, TheTimingsOfARequestAreLoggedInSeconds) {
    StandingClock clock(1000);
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    clock.Set(1003);
    StartSending();
    const Bytes frame = connection_.ReceiveLockFrame();
    EXPECT_EQ(gateway_->LastSendTime(), 1003);
    clock.Set(1010);
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    ExpectInOrder(
        {{plog::debug, "Message timings - from enqueue to send:3 sec, from send to receive: 7 sec, total time: 10 sec"},
         {plog::info, "Response from gateway: OK for message with ID request-1"}});
}

TEST_F(AnswersTest, AnAnnouncedCounterMakesAConnectedGatewayReadyAndIsWrittenOnWithOneMore) {
    std::vector<std::uint32_t> countersInCallback;
    owner_.onStateChanged = [&](const StateChange& change) {
        if (change.to == READY) {
            EXPECT_TRUE(gateway_->IsSequenceCounterKnown());
            EXPECT_TRUE(change.underLock);
            countersInCallback.push_back(builder_->SequenceCounter());
        }
    };
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    ASSERT_NO_FATAL_FAILURE(PassFirstRefresh());
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    ASSERT_TRUE(WaitUntil([&] { return builder_->SequenceCounter() == 2; }));
    // Both refreshes were built in one period and carry the same reference ID, under which the first waits.
    connection_.Send(ResultFrame(1, 7, 0x01020304));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    ExpectInOrder({{plog::debug, "Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is 2"},
                   {plog::warning, "Received new sequence number. The current SEQ is 16909060"},
                   {plog::verbose, kRemovedText}});
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, CONNECTED}, {CONNECTED, READY}}));
    EXPECT_TRUE(owner_.Responses().empty());

    const Bytes frame = SendStatusRequest("request-1");
    EXPECT_EQ(SequenceCounterOf(frame), 0x01020305U);
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 7, 0xFFFFFFFF));
    ASSERT_TRUE(WaitUntil([&] { return builder_->SequenceCounter() == 0xFFFFFFFF; }));
    EXPECT_EQ(countersInCallback, std::vector<std::uint32_t>({0x01020304})) << "it is ready already";
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-2")), 0U);
}

TEST_F(AnswersTest, AnAnswerWithoutPayloadCallsTheResponseCallbackWithANullMessage) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    gateway_->ManageBrenkGatewayResponse(nullptr, 0);
    EXPECT_FALSE(log_.Holds(plog::verbose, kEndedText));
    gateway_->ManageBrenkGatewayResponse(AnswerWithoutPayload(1, ReferenceIDOf(SendStatusRequest("request-1"))), 0);
    gateway_->ManageBrenkGatewayResponse(AnswerWithoutPayload(0, ReferenceIDOf(SendStatusRequest("request-2"))), 0);
    ExpectInOrder({{plog::error, "Cannot parse GetStatus message payload."},
                   {plog::verbose, kRemovedText},
                   {plog::error, "Cannot parse the result of the request."},
                   {plog::verbose, kRemovedText}});
    ASSERT_EQ(owner_.Responses().size(), 2U);
    for (const ReceivedResponse& response : owner_.Responses()) {
        EXPECT_TRUE(response.isNull);
        EXPECT_EQ(response.gateway, gateway_.get());
        EXPECT_EQ(response.context, Context(1));
    }
}

TEST_F(AnswersTest, WithoutAResponseCallbackTheAnswerIsIgnoredAndTheRequestRemoved) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes answer = ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 7, 256);
    Brenk::GatewayOwner silent;
    silent.context = Context(0);
    gateway_->SetOwner(silent);
    connection_.Send(answer);
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::warning, "No callback for message response is set. The message will be ignored."), 1);
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
    EXPECT_EQ(builder_->SequenceCounter(), 2U);
    EXPECT_FALSE(gateway_->IsSequenceCounterKnown());
}

TEST_F(AnswersTest, TheLockOfAnAnswerIsThatOfTheWaitingRequestsWithTimeout10) {
    // The sender, which takes locks too, stands at its gate.
    ASSERT_TRUE(sendingGate_.WaitForArrival());
    const TimedLocksFail fault;
    gateway_->ManageBrenkGatewayResponse(AnswerWithoutPayload(0, 1), 0);
    EXPECT_EQ(LastLockDeadline(), 10);
    ExpectInOrder({{plog::error, "Mutex waitingMessagesMutex timed out while acquiring lock."},
                   {plog::error, "Cannot acquire Mutex of Brenk Gateway Response."},
                   {plog::verbose, "Clear memory for the parsed response message."},
                   {plog::verbose, kEndedText}});
}

TEST_F(AnswersTest, TheLockOfAnAnswerIsReleasedBeforeTheFrameIsFreed) {
    // The sender, which takes locks too, stands at its gate.
    ASSERT_TRUE(sendingGate_.WaitForArrival());
    LogGate lost(kOrphanText);
    LogGate clearing("Clear memory for the parsed response message.");
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    const int before = HeldTimedLocks();
    connection_.Send(ResultFrame(1, 0));
    EXPECT_TRUE(lost.WaitForArrival());
    EXPECT_EQ(HeldTimedLocks(), before + 1);
    lost.Open();
    EXPECT_TRUE(clearing.WaitForArrival());
    EXPECT_EQ(HeldTimedLocks(), before);
}

// The sender stands right behind its call of send, whose answer is then handled to its end.
TEST_F(AnswersTest, AnAnnouncedCounterIsNotAdvancedByTheSendThatProvokedItHoweverFastTheAnswerComes) {
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
TEST_F(AnswersTest, ARequestThatIsAnsweredBeforeTheSenderIsDoneWithItIsFreedWhenBothAre) {
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
TEST_F(AnswersTest, ARequestThatWasNotKeptIsFreedByTheSender) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(gateway_->GetNodeStatus("request-2", 6, Context(2)));
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Internal request message set. Deallocate message memory."));
}

}  // namespace
}  // namespace Testing
