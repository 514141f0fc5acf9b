#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <utility>

#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ProgramClock.h"
#include "tests/gateway/ThreadFaults.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::FAULTED;
using Brenk::READY;
using Brenk::VirtualGateway;
using Brenk::Messages::BrenkFrameHeader;
using Brenk::Messages::BrenkMessage;

constexpr const char* kOrphanText =
    "A reply message was sent from gateway. But no request message was found in the waiting message map. The message "
    "is lost";
constexpr const char* kRemovedText = "Remove the request from the pending list.";
constexpr const char* kExcludedText = "The callback will be excluded.";
constexpr const char* kEndedText = "Ended management.";

class AnswersTest : public GatewayTest {
  protected:
    // An answer that no gateway can send: Parse gives every answer of these types its payload.
    BrenkMessage* AnswerWithoutPayload(std::uint8_t type, std::uint8_t referenceID) {
        BrenkFrameHeader header;
        header.payloadType = type;
        header.referenceID = referenceID;
        return new BrenkMessage(header);
    }
};

// Its first reference ID has bits that the two masks of the log tell apart.
class LateAnswersTest : public GatewayTest {
  protected:
    LateAnswersTest() : GatewayTest(std::make_shared<Brenk::Messages::BrenkMessageBuilder>(0, 44)) {}
};

struct ResultCase {
    std::uint8_t code;
    plog::Severity severity;
    std::string text;
};

void PrintTo(const ResultCase& tested, std::ostream* stream) {
    *stream << "code " << static_cast<int>(tested.code);
}

// What is logged of each result of a request that a client made; each is passed on.
const ResultCase kResults[] = {
    {0, plog::info, "Response from gateway: OK for message with ID request-1"},
    {1, plog::warning, "Response core from gateway: 1"},
    {2, plog::warning, "Requested to add a new whitelist entry, but this value is already in the whitelist"},
    {3, plog::warning, "Requested to add a new whitelist entry, but the whitelist is full."},
    {4, plog::warning, "Requested to remove whitelist entry, but this value is not in the whitelist"},
    {5, plog::warning, "Response core from gateway: 5"},
    {6, plog::warning, "Response core from gateway: 6"},
    {8, plog::debug, "Receied BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR."},
    {9, plog::warning,
     "Requested an operation to the device whitelist, but the length of the data mismatch required length."},
    {10, plog::warning, "Response from gateway: MESSAGE_UNESPECTED."},
    {11, plog::warning, "Response core from gateway: 11"},
    {12, plog::warning, "Response core from gateway: 12"},
    {13, plog::warning, "Response core from gateway: 13"},
    {200, plog::warning, "Response core from gateway: 200"},
};

class ResultTest : public AnswersTest, public ::testing::WithParamInterface<ResultCase> {};

TEST_P(ResultTest, IsLoggedAndPassedToTheCallbackWithTheRequestsContext) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_TRUE(gateway_->OpenLock("request-1", 5, 3, true, Context(1)));
    StartSending();
    const Bytes frame = connection_.ReceiveLockFrame();
    connection_.Send(ResultFrame(ReferenceIDOf(frame), GetParam().code));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(GetParam().severity, GetParam().text), 1) << log_.Text();
    // No other result has a say.
    const auto lines = log_.Lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.first == plog::warning; }),
              GetParam().severity == plog::warning ? 1 : 0)
        << log_.Text();
    EXPECT_FALSE(log_.Holds(plog::debug, kExcludedText));
    EXPECT_EQ(log_.Holds(plog::info, "Response from gateway"), GetParam().severity == plog::info);
    EXPECT_EQ(log_.Holds(plog::debug, "BRENK_RESPONSE"), GetParam().severity == plog::debug);
    ASSERT_EQ(owner_.Responses().size(), 1U);
    const ReceivedResponse response = owner_.Responses().at(0);
    EXPECT_EQ(response.gateway, gateway_.get());
    EXPECT_FALSE(response.isNull);
    EXPECT_EQ(response.requestID, "request-1");
    EXPECT_EQ(response.requestCode, 138);
    EXPECT_EQ(response.responseCode, GetParam().code);
    EXPECT_FALSE(response.status.has_value());
    EXPECT_EQ(response.context, Context(1));
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
    EXPECT_EQ(owner_.Steps(), StateSteps({{Brenk::CREATED, READY}}));
}

INSTANTIATE_TEST_SUITE_P(OfAClientsRequest, ResultTest, ::testing::ValuesIn(kResults),
                         [](const auto& tested) { return "Code" + std::to_string(tested.param.code); });

TEST_F(AnswersTest, OkToASequenceRefreshIsExcludedFromTheCallback) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("requestNewSEQID-17", 5, Context(1)));
    StartSending();
    connection_.Send(ResultFrame(ReferenceIDOf(connection_.ReceiveLockFrame()), 0));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::debug,
                         "The gateway anwser is for a NEW SEQ request but the seq code is correct. MessageID "
                         "requestNewSEQID-17"),
              1);
    EXPECT_EQ(log_.Count(plog::debug, kExcludedText), 1);
    EXPECT_TRUE(owner_.Responses().empty());
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
}

TEST_F(AnswersTest, NoRouteToASequenceRefreshIsExcludedFromTheCallbackAndChangesNothing) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    connection_.Send(ResultFrame(ReferenceIDOf(connection_.ReceiveFrame()), 8));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::debug,
                         "The gateway answer is for a NEW SEQ but the gateway cannot find a route to the device. "
                         "Maybe it's a keep alive packet."),
              1);
    EXPECT_EQ(log_.Count(plog::debug, kExcludedText), 1);
    EXPECT_TRUE(owner_.Responses().empty());
    EXPECT_EQ(gateway_->Status(), CONNECTED);
    EXPECT_FALSE(gateway_->IsSequenceCounterKnown());
}

TEST_F(AnswersTest, AnyOtherResultOfASequenceRefreshIsPassedOnWithTheOwnersContext) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    connection_.Send(ResultFrame(ReferenceIDOf(connection_.ReceiveFrame()), 6));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID.rfind("requestNewSEQID-", 0), 0U);
    EXPECT_EQ(owner_.Responses().at(0).context, Context(0));
}

TEST_F(AnswersTest, Result7ToAnyRequestSetsTheCounterMakesReadyAndRemovesTheRequestWithoutACallback) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    ASSERT_NO_FATAL_FAILURE(PassFirstRefresh());
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    ASSERT_TRUE(WaitUntil([&] { return builder_->SequenceCounter() == 2; }));

    const Bytes frame = SendStatusRequest("request-1");
    EXPECT_FALSE(gateway_->IsSequenceCounterKnown());
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 7, 0xFFFFFF00));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    ExpectInOrder({{plog::debug, "Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is 3"},
                   {plog::warning, "Received new sequence number. The current SEQ is 4294967040"},
                   {plog::verbose, kRemovedText}});
    EXPECT_EQ(log_.Count(plog::debug, "Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is 3"), 1);
    EXPECT_EQ(log_.Count(plog::warning, "Received new sequence number. The current SEQ is 4294967040"), 1);
    EXPECT_EQ(builder_->SequenceCounter(), 0xFFFFFF00U);
    EXPECT_TRUE(gateway_->IsSequenceCounterKnown());
    EXPECT_EQ(owner_.Steps(), StateSteps({{Brenk::CREATED, CONNECTED}, {CONNECTED, READY}}));
    EXPECT_EQ(owner_.StateChanges().back().context, Context(0));
    EXPECT_TRUE(owner_.Responses().empty());
    EXPECT_EQ(SequenceCounterOf(SendStatusRequest("request-2")), 0xFFFFFF01U);
}

TEST_F(AnswersTest, TheOwnerHearsOfReadyWhenTheCounterIsStoredAndWhileTheLockIsHeld) {
    int linesBeforeCallback = -1;
    bool knownBeforeCallback = false;
    std::uint32_t counterBeforeCallback = 0;
    owner_.onStateChanged = [&](const StateChange& change) {
        if (change.to == READY) {
            linesBeforeCallback = log_.Count(plog::warning, "Received new sequence number. The current SEQ is 77");
            knownBeforeCallback = gateway_->IsSequenceCounterKnown();
            counterBeforeCallback = builder_->SequenceCounter();
        }
    };
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    connection_.Send(ResultFrame(ReferenceIDOf(connection_.ReceiveFrame()), 7, 77));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(linesBeforeCallback, 1);
    EXPECT_TRUE(knownBeforeCallback);
    EXPECT_EQ(counterBeforeCallback, 77U);
    EXPECT_TRUE(owner_.StateChanges().back().underLock);
    EXPECT_FALSE(log_.Holds(plog::debug, kExcludedText));
}

TEST_F(AnswersTest, Result7InReadyChangesNoState) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 7, 256));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(owner_.Steps(), StateSteps({{Brenk::CREATED, READY}}));
    EXPECT_EQ(builder_->SequenceCounter(), 256U);
    EXPECT_TRUE(gateway_->IsSequenceCounterKnown());
}

TEST_F(AnswersTest, Result7MakesAFaultedGatewayReadyToo) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes frame = SendStatusRequest("request-1");
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    ASSERT_EQ(gateway_->Status(), FAULTED);
    // The read thread has been receiving since before the fault.
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 7, 256));
    ASSERT_TRUE(owner_.WaitForStateChanges(3));
    EXPECT_EQ(owner_.Steps().back(), std::make_pair(FAULTED, READY));
}

TEST_F(AnswersTest, AStatusAnswerBringsTheStatusWhichOutlivesTheFrame) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes frame = SendStatusRequest("request-1");
    connection_.Send(Frame(1, ReferenceIDOf(frame), {0x0E, 1, 0x1C, 3, 4, 5, 6}));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::verbose, "Received a MSG_GetStatus"), 1);
    ASSERT_EQ(owner_.Responses().size(), 1U);
    const ReceivedResponse response = owner_.Responses().at(0);
    EXPECT_EQ(response.requestID, "request-1");
    EXPECT_EQ(response.requestCode, 1);
    EXPECT_EQ(response.responseCode, 0U);
    EXPECT_EQ(response.context, Context(1));
    const Brenk::Messages::BrenkGetStatusPayload::StatusBytes expected = {0x0E, 1, 0x1C, 3, 4, 5, 6};
    EXPECT_EQ(response.status, expected);
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
}

TEST_F(AnswersTest, AStatusAnswerWithoutPayloadCallsTheResponseCallbackWithANullMessage) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes frame = SendStatusRequest("request-1");
    gateway_->ManageBrenkGatewayResponse(AnswerWithoutPayload(1, ReferenceIDOf(frame)), std::time(nullptr));
    EXPECT_EQ(log_.Count(plog::verbose, "Received a MSG_GetStatus"), 1);
    EXPECT_EQ(log_.Count(plog::error, "Cannot parse GetStatus message payload."), 1);
    ASSERT_EQ(owner_.Responses().size(), 1U);
    EXPECT_TRUE(owner_.Responses().at(0).isNull);
    EXPECT_EQ(owner_.Responses().at(0).gateway, gateway_.get());
    EXPECT_EQ(owner_.Responses().at(0).context, Context(1));
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
}

TEST_F(AnswersTest, AResultWithoutPayloadCallsTheResponseCallbackWithANullMessage) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes frame = SendStatusRequest("request-1");
    gateway_->ManageBrenkGatewayResponse(AnswerWithoutPayload(0, ReferenceIDOf(frame)), std::time(nullptr));
    EXPECT_EQ(log_.Count(plog::error, "Cannot parse the result of the request."), 1);
    ASSERT_EQ(owner_.Responses().size(), 1U);
    EXPECT_TRUE(owner_.Responses().at(0).isNull);
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
}

TEST_F(AnswersTest, AnAnswerOfAnUnknownCodeCallsTheResponseCallbackWithANullMessage) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(Frame(0x63, ReferenceIDOf(SendStatusRequest("request-1")), {}));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::verbose, "Received unmanaged message response."), 1);
    ASSERT_EQ(owner_.Responses().size(), 1U);
    EXPECT_TRUE(owner_.Responses().at(0).isNull);
    EXPECT_EQ(owner_.Responses().at(0).gateway, gateway_.get());
    EXPECT_EQ(owner_.Responses().at(0).context, Context(1));
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
}

TEST_F(AnswersTest, AnAnswerWhoseReferenceByteHasItsTopTwoBitsSetMatchesTheRequestWithTheSameLowSixBits) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::uint8_t referenceID = ReferenceIDOf(SendStatusRequest("request-1"));
    connection_.Send(ResultFrame(static_cast<std::uint8_t>(referenceID | 0xC0), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
}

TEST_F(AnswersTest, AnAnswerThatNoRequestWaitsForIsLostWithAWarning) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::uint8_t referenceID = ReferenceIDOf(SendStatusRequest("request-1"));
    connection_.Send(ResultFrame(static_cast<std::uint8_t>(referenceID + 1), 0));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::warning, kOrphanText), 1);
    EXPECT_EQ(log_.Count(plog::verbose, "Clear memory for the parsed response message."), 1);
    EXPECT_TRUE(owner_.Responses().empty());
    connection_.Send(ResultFrame(referenceID, 0));
    EXPECT_TRUE(owner_.WaitForResponses(1));
}

TEST_F(AnswersTest, ASecondAnswerToTheSameRequestIsLost) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes answer = ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0);
    connection_.Send(answer);
    ASSERT_TRUE(owner_.WaitForResponses(1));
    connection_.Send(answer);
    EXPECT_TRUE(log_.WaitFor(plog::warning, kOrphanText));
    EXPECT_EQ(owner_.Responses().size(), 1U);
}

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

TEST_F(AnswersTest, ANullMessageIsIgnored) {
    gateway_->ManageBrenkGatewayResponse(nullptr, 0);
    EXPECT_FALSE(log_.Holds(plog::verbose, kEndedText));
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

TEST_F(AnswersTest, AnAnswerWhoseLockCannotBeTakenIsDroppedAndTheRequestStaysWaiting) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes answer = ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0);
    {
        const TimedLocksFail fault;
        connection_.Send(answer);
        ASSERT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    }
    EXPECT_EQ(log_.Count(plog::error, "Cannot acquire Mutex of Brenk Gateway Response."), 1);
    EXPECT_TRUE(owner_.Responses().empty());
    connection_.Send(answer);
    EXPECT_TRUE(owner_.WaitForResponses(1));
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

TEST_F(AnswersTest, AnExceptionThrownAsAPointerInTheCallbackIsFreedAndTheRequestStaysWaiting) {
    bool first = true;
    owner_.onResponse = [&first](const ReceivedResponse&) {
        if (std::exchange(first, false)) {
            throw new Brenk::NullObjectException;
        }
    };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes answer = ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0);
    connection_.Send(answer);
    ASSERT_TRUE(log_.WaitFor(plog::debug, "The exception was: Null or empty object"));
    EXPECT_EQ(log_.Count(plog::error, "Exception in Brenk Response message loop. Manually releasing mutexes."), 1);
    EXPECT_FALSE(log_.Holds(plog::verbose, kRemovedText));
    connection_.Send(answer);
    EXPECT_TRUE(owner_.WaitForResponses(2));
    EXPECT_TRUE(log_.WaitFor(plog::verbose, kEndedText));
    EXPECT_EQ(log_.Count(plog::verbose, kRemovedText), 1);
    EXPECT_EQ(log_.Count(plog::verbose, kEndedText), 1);
}

// It has had its answer: another request with this reference ID must not be taken for it.
TEST_F(AnswersTest, ARequestWhoseAnswerThereWasNoMemoryForIsNoLongerWaiting) {
    owner_.onResponse = [](const ReceivedResponse&) { throw std::bad_alloc(); };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const Bytes frame = SendStatusRequest("request-1");
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(log_.WaitFor(plog::error, "Exception in Brenk Response message loop. Manually releasing mutexes."));
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    EXPECT_TRUE(log_.WaitFor(plog::warning, kOrphanText));
    EXPECT_EQ(owner_.Responses().size(), 1U);
}

// A payload for whose bytes there is no memory.
class PayloadWithoutMemory : public Brenk::Messages::BrenkMessagePayload {
  public:
    std::vector<unsigned char>* Serialize() override { throw std::bad_alloc(); }
};

TEST_F(AnswersTest, ARequestThatThereWasNoMemoryToSendIsNotWaiting) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    std::unique_ptr<BrenkMessage> message(AnswerWithoutPayload(15, builder_->ReferenceID()));
    message->AttachPayload(std::make_unique<PayloadWithoutMemory>());
    gateway_->EnqueueMessage("request-1", message.release(), Context(1));
    ASSERT_TRUE(log_.WaitFor(plog::error, "Exception in the send loop of virtual gateway with ID 12: std::bad_alloc"));
    connection_.Send(ResultFrame(builder_->ReferenceID(), 0));
    EXPECT_TRUE(log_.WaitFor(plog::warning, kOrphanText));
    EXPECT_TRUE(owner_.Responses().empty());
}

}  // namespace
}  // namespace Testing
