#include <gtest/gtest.h>

#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ProgramClock.h"
#include "tests/gateway/ThreadFaults.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::READY;
using Brenk::VirtualGateway;
using Brenk::Messages::BrenkMessage;

constexpr const char* kBuiltText = "RequestInfo built.";
constexpr const char* kPushedText = "RequestInfo pushed to messagesQueue.";
constexpr const char* kKeepAliveText = "Enquequing keep alive Get status.";
constexpr const char* kFreedText = "Internal request message set. Deallocate message memory.";

// Whether `call` throws a new ArgumentNullException; it is freed.
template <typename Call>
bool ThrowsArgumentNull(Call call) {
    try {
        call();
    } catch (Brenk::ArgumentNullException* thrown) {
        const std::unique_ptr<Brenk::ArgumentNullException> exception(thrown);
        return true;
    }
    return false;
}

using QueueTest = GatewayTest;

class QueueWithoutBuilderTest : public GatewayTest {
  protected:
    QueueWithoutBuilderTest() : GatewayTest(nullptr) {}
};

class QueueOfRefusingBuilderTest : public GatewayTest {
  protected:
    QueueOfRefusingBuilderTest() : GatewayTest(std::make_shared<RefusingBuilder>()) {}
};

TEST_F(QueueTest, ANullMessageThrowsAndIsLogged) {
    EXPECT_TRUE(ThrowsArgumentNull([&] { gateway_->EnqueueMessage("request-1", nullptr, Context(1)); }));
    EXPECT_EQ(log_.Count(plog::error, "Message is nullptr"), 1);
    EXPECT_TRUE(ThrowsArgumentNull([&] { gateway_->EnqueueMessage("request-1", nullptr, nullptr); }));
    EXPECT_EQ(log_.Count(plog::error, "Message is nullptr"), 2);
}

TEST_F(QueueTest, ANullContextThrowsAndTheMessageStaysTheCallers) {
    const std::unique_ptr<BrenkMessage> message = builder_->BuildGetStatus(5);
    EXPECT_TRUE(ThrowsArgumentNull([&] { gateway_->EnqueueMessage("request-1", message.get(), nullptr); }));
    EXPECT_EQ(message->DeviceAddress(), 5U);
    EXPECT_FALSE(log_.Holds(plog::error, ""));
    EXPECT_FALSE(log_.Holds(plog::verbose, kBuiltText));
}

TEST_F(QueueTest, AMessageIsQueuedAndSentAndAnswered) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    gateway_->EnqueueMessage("request-1", builder_->BuildClearWhitelist(5).release(), Context(1));
    EXPECT_EQ(log_.Count(plog::verbose, kBuiltText), 1);
    EXPECT_EQ(log_.Count(plog::verbose, kPushedText), 1);
    StartSending();
    const Bytes frame = connection_.ReceiveLockFrame();
    EXPECT_EQ(frame.at(16), 5);
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
    EXPECT_EQ(owner_.Responses().at(0).context, Context(1));
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

TEST_F(QueueTest, TheSequenceRefreshAsksAddress256ForItsStatus) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_EQ(log_.Count(plog::verbose, "Refreshing sequence couter."), 1);
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
    StartSending();
    // Written by hand from the frame layout; CRC by python3, binascii.crc_hqx(data, 0).
    EXPECT_EQ(connection_.ReceiveFrame(), FromHex("13 FE FD 0E 01 00 00 01 00 00 00 01 00 00 01 00 01 08 4B"));
}

TEST_F(QueueTest, TheIDOfASequenceRefreshEndsInTheTime) {
    const std::time_t before = std::time(nullptr);
    gateway_->EnqueueRefreshSequenceCounter();
    const std::time_t after = std::time(nullptr);
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    StartSending();
    EXPECT_FALSE(connection_.ReceiveFrame().empty());
    bool found = false;
    for (std::time_t time = before; time <= after; ++time) {
        found = found || log_.Holds(plog::verbose, "Sending binary serialized message with ID requestNewSEQID-" +
                                                       std::to_string(time) + " to gateway socket send.");
    }
    EXPECT_TRUE(found) << log_.Text();
}

TEST_F(QueueWithoutBuilderTest, ThereIsNoSequenceRefresh) {
    EXPECT_FALSE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_EQ(log_.Count(plog::error, "Message builder is null."), 1);
}

TEST_F(QueueOfRefusingBuilderTest, ThereIsNoSequenceRefresh) {
    EXPECT_FALSE(gateway_->EnqueueRefreshSequenceCounter());
    EXPECT_EQ(log_.Count(plog::error, "Cannot allocate refresh counter message."), 1);
}

TEST_F(QueueTest, ASequenceRefreshWithoutAContextThrows) {
    gateway_->SetOwner(Owner::Callbacks(nullptr));
    EXPECT_TRUE(ThrowsArgumentNull([&] { gateway_->EnqueueRefreshSequenceCounter(); }));
}

TEST_F(QueueTest, TheKeepAliveIsTheSequenceRefreshAndIsNotRepeatedWithin27Seconds) {
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
}

TEST_F(QueueTest, TheKeepAliveIsDueToTheSecondWhen27HavePassedSinceTheLast) {
    StandingClock clock(1000000000);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
    clock.Set(1000000026);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
    clock.Set(1000000027);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 2);
    clock.Set(1000000053);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 2);
    clock.Set(1000000054);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 3);
    ExpectInOrder({{plog::verbose, kKeepAliveText},
                   {plog::verbose, "Refreshing sequence couter."},
                   {plog::verbose, kBuiltText},
                   {plog::verbose, kPushedText},
                   {plog::verbose, "Sequence Counter refresh enqueued."}});
}

TEST_F(QueueTest, TheTimeOfTheLastKeepAliveBeginsAt0) {
    StandingClock clock(26);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 0);
    clock.Set(27);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
}

TEST_F(QueueTest, AClockThatWasPutBackMakesNoKeepAliveDue) {
    StandingClock clock(1000000000);
    gateway_->SendGetStatusKeepAlive();
    clock.Set(999999900);
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1);
}

TEST_F(QueueTest, TheSecondsSinceTheLastKeepAliveAreASigned32BitNumber) {
    if (sizeof(std::time_t) < sizeof(std::int64_t)) {
        GTEST_SKIP() << "no time is that far away here";
    }
    constexpr std::int64_t kStart = 1000000000;
    StandingClock clock(kStart);
    gateway_->SendGetStatusKeepAlive();
    for (const std::int64_t later : {0x80000000LL, 0xFFFFFFFFLL, 0x10000001ALL}) {
        clock.Set(static_cast<std::time_t>(kStart + later));
        gateway_->SendGetStatusKeepAlive();
        EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 1) << later;
    }
    clock.Set(static_cast<std::time_t>(kStart + 0x7FFFFFFF));
    gateway_->SendGetStatusKeepAlive();
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 2);
}

TEST_F(QueueTest, TheKeepAliveFiresInTheFirstCycleInEveryStatus) {
    ASSERT_EQ(gateway_->Status(), Brenk::CREATED);
    StartSending();
    EXPECT_TRUE(log_.WaitFor(plog::verbose, kKeepAliveText));
    EXPECT_TRUE(log_.WaitFor(plog::verbose, kPushedText));
}

TEST_F(QueueTest, TheKeepAliveFiresInTheFirstCycleAndAgainWhen27SecondsHavePassed) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    StartSending();
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    const auto first = std::chrono::steady_clock::now();
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame(std::chrono::seconds(60))), kRefreshAddress);
    const auto passed = std::chrono::steady_clock::now() - first;
    // The clock of the program counts whole seconds, so the pause may be almost one shorter.
    EXPECT_GE(passed, std::chrono::seconds(25));
    EXPECT_LE(passed, std::chrono::seconds(50));
    EXPECT_EQ(log_.Count(plog::verbose, kKeepAliveText), 2);
}

// Before the send thread has taken its first request.

TEST_F(QueueTest, BeforeTheFirstRequestConnectedSendsASequenceRefresh) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    EXPECT_EQ(gateway_->Status(), CONNECTED);
}

TEST_F(QueueTest, BeforeTheFirstRequestConnectedHoldsALockRequestBackAndTheRefreshBehindItToo) {
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
    EXPECT_NE(gateway_->LastSendTime(), 0);
}

TEST_F(QueueTest, BeforeTheFirstRequestNothingIsTakenWithoutAConnection) {
    ASSERT_TRUE(gateway_->EnqueueRefreshSequenceCounter());
    StartSending();
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kKeepAliveText));
    EXPECT_FALSE(WaitUntil([&] { return gateway_->LastSendTime() != 0; }, kQuietTime));
    EXPECT_EQ(builder_->ReferenceID(), 1);
}

TEST_F(QueueTest, BeforeTheFirstRequestNotEvenASequenceRefreshIsTakenInFaultedOrDisconnected) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    ASSERT_EQ(gateway_->Status(), FAULTED);
    StartSending();
    EXPECT_TRUE(connection_.ReceiveFrame(kQuietTime).empty());
    ASSERT_TRUE(gateway_->Disconnect());
    EXPECT_FALSE(WaitUntil([&] { return gateway_->LastSendTime() != 0; }, kQuietTime));
    EXPECT_FALSE(log_.Holds(plog::verbose, "Message binary data: "));
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
}

// A client's ID that holds the mark is taken for a refresh.
TEST_F(QueueTest, BeforeTheFirstRequestConnectedSendsARequestWhoseIDHoldsTheMarkOfARefresh) {
    ASSERT_TRUE(gateway_->GetNodeStatus("a client's requestNewSEQID-", 5, Context(1)));
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), 5U);
    EXPECT_FALSE(log_.Holds(plog::info, "Sending binary serialized message"));
}

// From the first request on.

TEST_F(QueueTest, AfterTheFirstRequestALockRequestGoesOutInConnected) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    StartSending();
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), 5U);
    EXPECT_EQ(gateway_->Status(), CONNECTED);
}

TEST_F(QueueTest, AfterTheFirstRequestTheFrontGoesOutInFaulted) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    ASSERT_EQ(gateway_->Status(), FAULTED);
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    EXPECT_EQ(gateway_->Status(), FAULTED);
}

TEST_F(QueueTest, WithoutASocketARequestIsAFailedSendThatKeepsWaitingAndAdvancesBothCounters) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->Disconnect());
    const std::uint32_t counter = builder_->SequenceCounter();
    const std::uint8_t referenceID = builder_->ReferenceID();
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == referenceID + 1; }));
    EXPECT_EQ(builder_->SequenceCounter(), counter + 1);
    EXPECT_EQ(log_.Count(plog::error,
                         "Error sending enqueued message request-1 to current Virtual Gateway. Message removed from "
                         "queue"),
              1);
    EXPECT_EQ(gateway_->Status(), DISCONNECTED);
    EXPECT_EQ(owner_.StateChanges().size(), 2U);

    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    connection_.Send(ResultFrame(referenceID, 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
}

TEST_F(QueueTest, ARequestIsNotSentAgainAfterAFailedSend) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->Disconnect());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(log_.WaitFor(plog::error, "Error sending enqueued message request-1"));
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-2", 6, Context(1)));
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), 6U);
}

// What the send thread does around a request.

TEST_F(QueueTest, EveryStepOfASendIsLoggedInItsOrder) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(gateway_->CloseLock("request-1", 0xFFFFFFFF, 9, false, Context(1)));
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Binary serialized message with ID request-1"));
    // CRC by python3, binascii.crc_hqx(data, 0).
    ExpectInOrder({
        {plog::debug, "VGS - CloseLock entered requestID : request-1 lockid :4294967295 delay:9"},
        {plog::info, " Enqueuing CLOSE_LOCK message."},
        {plog::verbose, kBuiltText},
        {plog::verbose, kPushedText},
        {plog::info, "Sending binary serialized message with ID request-1, code \x0B to address 4294967295"},
        {plog::verbose, "Message binary data: 15 FE FD 10 01 00 00 02 00 00 00 02 FF FF FF FF 0B 00 09 B7 A3"},
        {plog::verbose, "Sending binary serialized message with ID request-1 to gateway socket send."},
        {plog::verbose,
         "Binary serialized message with ID request-1 and ReferenceID \x02 sent using gateway socket send."},
    });
    EXPECT_EQ(
        log_.Count(plog::info, "Sending binary serialized message with ID request-1, code \x0B to address 4294967295"),
        1);
    EXPECT_FALSE(log_.Holds(plog::error, ""));
    EXPECT_GE(gateway_->LastSendTime(), before);
}

TEST_F(QueueTest, ASequenceRefreshHasNoLineAtInfo) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    EXPECT_FALSE(log_.Holds(plog::info, "Sending binary serialized message"));
    EXPECT_TRUE(log_.Holds(plog::verbose, "Message binary data: 13 FE FD"));
    EXPECT_TRUE(log_.Holds(plog::verbose, "Sending binary serialized message with ID requestNewSEQID-"));
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

TEST_F(QueueTest, AnExceptionInTheSendLoopIsLoggedAndTheLoopGoesOn) {
    gateway_->SetOwner(Owner::Callbacks(nullptr));
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    StartSending();
    // The first keep-alive has no context.
    ASSERT_TRUE(log_.WaitFor(plog::error, "Exception in the send loop of virtual gateway with ID 12: Argument null"));
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    EXPECT_FALSE(connection_.ReceiveLockFrame().empty());
}

TEST_F(QueueWithoutBuilderTest, AMessageThatIsQueuedIsSent) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    gateway_->EnqueueMessage("request-1", Brenk::Messages::BrenkMessageBuilder(0, 1).BuildGetStatus(5).release(),
                             Context(1));
    StartSending();
    EXPECT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), 5U);
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Binary serialized message with ID request-1"));
}

}  // namespace
}  // namespace Testing
