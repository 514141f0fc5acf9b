#include <gtest/gtest.h>

#include "diagnostics/Text.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ProgramClock.h"
#include "tests/gateway/ThreadFaults.h"

namespace Testing {
namespace {

using Brenk::Messages::BrenkMessage;

constexpr const char* kBuiltText = "RequestInfo built.";
constexpr const char* kPushedText = "RequestInfo pushed to messagesQueue.";
constexpr const char* kKeepAliveText = "Enquequing keep alive Get status.";
constexpr const char* kFreedText = "Internal request message set. Deallocate message memory.";

using QueueTest = GatewayTest;

class QueueWithoutBuilderTest : public GatewayTest {
  protected:
    QueueWithoutBuilderTest() : GatewayTest(nullptr) {}
};

class QueueOfRefusingBuilderTest : public GatewayTest {
  protected:
    QueueOfRefusingBuilderTest() : GatewayTest(std::make_shared<RefusingBuilder>()) {}
};

TEST_F(QueueTest, ANullMessageOrContextThrowsAndTheMessageStaysTheCallers) {
    EXPECT_TRUE(
        ThrowsNew<Brenk::ArgumentNullException>([&] { gateway_->EnqueueMessage("request-1", nullptr, nullptr); }));
    EXPECT_EQ(log_.Count(plog::error, "Message is nullptr"), 1);
    const std::unique_ptr<BrenkMessage> message = builder_->BuildGetStatus(5);
    EXPECT_TRUE(ThrowsNew<Brenk::ArgumentNullException>(
        [&] { gateway_->EnqueueMessage("request-1", message.get(), nullptr); }));
    EXPECT_EQ(message->DeviceAddress(), 5U);
    EXPECT_FALSE(log_.Holds(plog::verbose, kBuiltText));
    gateway_->SetOwner(Owner::Callbacks(nullptr));
    EXPECT_TRUE(ThrowsNew<Brenk::ArgumentNullException>([&] { gateway_->EnqueueRefreshSequenceCounter(); }));
}

TEST_F(QueueTest, AMessageWhoseLockCannotBeTakenIsNotQueuedAndStaysTheCallers) {
    // The sender, which takes locks too, stands at its gate.
    ASSERT_TRUE(sendingGate_.WaitForArrival());
    const std::unique_ptr<BrenkMessage> message = builder_->BuildGetStatus(5);
    {
        const TimedLocksFail fault;
        gateway_->EnqueueMessage("request-1", message.get(), Context(1));
    }
    EXPECT_EQ(LastLockDeadline(), 5);
    ExpectInOrder({{plog::error, "Mutex waitingMessagesMutex timed out while acquiring lock."},
                   {plog::error, "Cannot enqueue message with ID request-1and reference ID \x01"}});
    EXPECT_EQ(message->DeviceAddress(), 5U);
    EXPECT_FALSE(log_.Holds(plog::verbose, kBuiltText));
}

TEST_F(QueueTest, AnOperationWhoseLockCannotBeTakenStillReturnsTrue) {
    const TimedLocksFail fault;
    EXPECT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    EXPECT_TRUE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_FALSE(log_.Holds(plog::verbose, kPushedText));
}

TEST_F(QueueTest, RequestsStillQueuedOrWaitingAreFreedWithTheGateway) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    SendStatusRequest("waiting");
    for (int count = 0; count < 5; ++count) {
        EXPECT_TRUE(gateway_->GetNodeStatus("queued", 5, Context(1)));
    }
    gateway_.reset();
    EXPECT_EQ(log_.Count(plog::verbose, kFreedText), 7);
}

TEST_F(QueueWithoutBuilderTest, ThereIsNoSequenceRefresh) {
    EXPECT_FALSE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_EQ(log_.Count(plog::error, "Message builder is null."), 1);
}

TEST_F(QueueOfRefusingBuilderTest, ThereIsNoSequenceRefresh) {
    EXPECT_FALSE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_EQ(log_.Count(plog::error, "Cannot allocate refresh counter message."), 1);
}

TEST_F(QueueTest, TheKeepAliveIsASequenceRefreshEvery27SecondsWithTheTimeInItsID) {
    StandingClock clock(1000000000);
    for (const auto& [time, count] : {std::pair(1000000000, 1), {1000000026, 1}, {1000000027, 2}, {1000000053, 2}}) {
        clock.Set(time);
        gateway_->SendGetStatusKeepAlive();
        EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), count) << time;
    }
    ExpectInOrder({{plog::verbose, kKeepAliveText},
                   {plog::verbose, "Refreshing sequence couter."},
                   {plog::verbose, kBuiltText},
                   {plog::verbose, kPushedText},
                   {plog::verbose, "Sequence Counter refresh enqueued."}});
    ASSERT_NO_FATAL_FAILURE(BeReady());
    EXPECT_TRUE(log_.Holds(plog::verbose, "Sending binary serialized message with ID requestNewSEQID-1000000000 to "));
    EXPECT_EQ(gateway_->LastSendTime(), 1000000053);
}

TEST_F(QueueTest, ConnectedHoldsTheFirstLockRequestBackAndTheRefreshBehindItToo) {
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    EXPECT_TRUE(connection_.ReceiveFrame(kQuietTime).empty());
    EXPECT_EQ(gateway_->LastSendTime(), 0);
    // READY lets the front go.
    ASSERT_TRUE(gateway_->Disconnect());
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), 5U);
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
}

TEST_F(QueueTest, EveryStepOfASendIsLoggedInItsOrder) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(gateway_->CloseLock("request-1", 0xFFFFFFFF, 9, false, Context(1)));
    const Bytes frame = connection_.ReceiveLockFrame();
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Binary serialized message with ID request-1"));
    ExpectInOrder({
        {plog::debug, "VGS - CloseLock entered requestID : request-1 lockid :4294967295 delay:9"},
        {plog::info, " Enqueuing CLOSE_LOCK message."},
        {plog::verbose, kBuiltText},
        {plog::verbose, kPushedText},
        {plog::info, "Sending binary serialized message with ID request-1, code \x0B to address 4294967295"},
        {plog::verbose, "Message binary data: " + Diagnostics::BytesToHex(frame)},
        {plog::verbose, "Sending binary serialized message with ID request-1 to gateway socket send."},
        {plog::verbose,
         "Binary serialized message with ID request-1 and ReferenceID \x02 sent using gateway socket send."},
    });
    EXPECT_FALSE(log_.Holds(plog::error, ""));
    EXPECT_GE(gateway_->LastSendTime(), before);
}

TEST_F(QueueTest, ASendLoopThatCannotTakeItsLockSaysSoAndTriesAgain) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    {
        const TimedLocksFail fault;
        ASSERT_TRUE(log_.WaitFor(plog::error, "Cannot acquire lock for messages"));
    }
    EXPECT_EQ(LastLockDeadline(), 5);
    ExpectInOrder(
        {{plog::error, "Mutex queueMutex timed out while acquiring lock."},
         {plog::error, "Cannot acquire lock for messages for send thread loop of virtual gateway with ID 12"}});
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
}

}  // namespace
}  // namespace Testing
