// The list of requests that wait for a gateway's answer.

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/GatewayStates.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"

using Testing::LockData;
using Testing::LogHook;
using Testing::MuxWithGateway;
using Testing::Request;
using Testing::RequestNack;
using Testing::TestMux;

namespace Mux {
namespace {

const char* const kOpened = R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})";

class BrenkMuxPending : public MuxWithGateway {};

std::shared_ptr<MuxMessage> Message(int code, const std::string& data) {
    return MuxMessageBuilder().ParseMessage(Request(code, "m1", data));
}

std::unique_ptr<MuxRequestRecord> Record(std::shared_ptr<MuxMessage> message, int descriptor = TestMux::kDescriptor) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, std::move(message));
}

TEST_F(BrenkMuxPending, HoldsARequestFromItsGatewaysYesToTheAnswer) {
    mux.Route(Request(10, "m1", LockData()));
    EXPECT_EQ(mux.PendingCount(), 1U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
}

TEST_F(BrenkMuxPending, TakesOutTheRequestThatIsAnsweredAndNoOther) {
    for (const char* const id : {"m1", "m2", "m3"}) {
        mux.Route(Request(22, id, LockData()));
    }
    mux.AnswerFromGateway("m2", 0);
    EXPECT_EQ(mux.PendingCount(), 2U);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m2","MessageCode":0,"Data":{}})");
    mux.AnswerFromGateway("m3", 0);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxPending, AnswersARequestOnce) {
    mux.Route(Request(10, "m1", LockData()));
    mux.AnswerFromGateway("m1", 0);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.AnswerCount(), 1U);
}

TEST_F(BrenkMuxPending, OfTwoRequestsWithOneMessageIDKeepsTheOlder) {
    mux.Route(Request(10, "m1", LockData()), 41);
    mux.Route(Request(22, "m1", LockData()), 42);
    EXPECT_EQ(mux.PendingCount(), 1U);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
    EXPECT_TRUE(log.Holds(plog::info, "to socket with FD 41"));
    EXPECT_FALSE(log.Holds(plog::info, "to socket with FD 42"));
}

TEST_F(BrenkMuxPending, FreesTheNewerOfTwoRequestsWithOneMessageIDWithoutAnAnswer) {
    mux.Route(Request(10, "m1", LockData()));
    auto newer = Message(10, LockData());
    const std::weak_ptr<MuxMessage> watched = newer;
    EXPECT_TRUE(mux.SendMessageToVG(Record(std::move(newer)).release()));
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(mux.PendingCount(), 1U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(log.Count(plog::info, "Message correctly enqueued by Virtual Gateway. MessageID: m1"), 2);
}

TEST_F(BrenkMuxPending, TakesAMessageIDAgainOnceItsRequestIsAnswered) {
    mux.Route(Request(10, "m1", LockData()), 41);
    mux.AnswerFromGateway("m1", 0);
    mux.Route(Request(10, "m1", LockData()), 42);
    EXPECT_EQ(mux.PendingCount(), 1U);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.AnswerCount(), 2U);
}

TEST_F(BrenkMuxPending, ARefusedRequestWithTheMessageIDOfAPendingOneIsAnsweredWithTheNack) {
    mux.Route(Request(10, "m1", LockData()), 41);
    mux.Route(Request(10, "m1", LockData(9)), 42);
    EXPECT_EQ(mux.PendingCount(), 1U);
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    EXPECT_TRUE(log.Holds(plog::info, "to socket with FD 42"));
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
}

TEST_F(BrenkMuxPending, ARefusalGivesTheRecordBack) {
    const auto record = Record(Message(10, LockData(9)), 41);
    EXPECT_FALSE(mux.SendMessageToVG(record.get()));
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(record->socketFD, 41);
    ASSERT_NE(record->message, nullptr);
    EXPECT_EQ(record->message->MessageID(), "m1");
    EXPECT_EQ(record->answer, nullptr);
}

TEST_F(BrenkMuxPending, ARefusalAfterTheMessageIDWasTakenGivesTheRecordBackAsWell) {
    mux.Route(Request(10, "m1", LockData()));
    const auto record = Record(Message(10, LockData(9)));
    EXPECT_FALSE(mux.SendMessageToVG(record.get()));
    EXPECT_NE(record->message, nullptr);
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxPending, CannotSendANullRecord) {
    EXPECT_FALSE(mux.SendMessageToVG(nullptr));
    EXPECT_EQ(log.Count(plog::debug, "SendMessageToVG MutexGuard acquired "), 1);
}

TEST_F(BrenkMuxPending, CannotSendARecordWithoutMessage) {
    const auto record = Record(nullptr);
    EXPECT_FALSE(mux.SendMessageToVG(record.get()));
    EXPECT_EQ(mux.PendingCount(), 0U);
}

// The signature that its lines carry is the one that log readers search for.
TEST_F(BrenkMuxPending, LogsUnderTheSignatureOfTheOperation) {
    EXPECT_FALSE(mux.SendMessageToVG(nullptr));
    EXPECT_TRUE(log.Holds(plog::debug, "bool Mux::BrenkMux::SendMessageToVG(Mux::MuxRequestRecord*) "));
}

// The gateway answers while its own operation is still on the way back to the Mux.
TEST_F(BrenkMuxPending, FindsTheRequestForAnAnswerThatComesBeforeTheOperationHasReturned) {
    const LogHook answer("Enqueuing OPEN_LOCK message.", [this] { mux.AnswerFromGateway("m1", 0); });
    mux.Route(Request(10, "m1", LockData()));
    ASSERT_EQ(answer.Runs(), 1);
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
    EXPECT_FALSE(log.Holds(plog::warning, "that is not in the requests list"));
}

// A request is refused while the gateway still answers an older one of the same MessageID: one answer is enough.
TEST_F(BrenkMuxPending, DoesNotAnswerTwiceWhenALateAnswerMeetsARefusal) {
    Testing::MakeFaulted(*mux.Gateway());
    const LogHook answer("Cannot enqueue ACCESS DENIED message", [this] { mux.AnswerFromGateway("m1", 0); });
    mux.Route(Request(14, "m1", LockData()));
    ASSERT_EQ(answer.Runs(), 1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{}})");
}

// No gateway is ever asked for such a code, but one may still answer an older request of the same MessageID.
TEST_F(BrenkMuxPending, AnAnswerToACodeThatHasNoneEndsTheRequestWithItsLines) {
    const LogHook answer("Prepare to send message", [this] { mux.AnswerFromGateway("m1", 0); });
    mux.Route(Request(99, "m1"));
    ASSERT_EQ(answer.Runs(), 1);
    EXPECT_EQ(log.Count(plog::error,
                        "Answer message is nullptr. This means that we cannot build a correct answer for this "
                        "message. Removed from the pending queue."),
              1);
    EXPECT_EQ(log.Count(plog::error, "Cannot enqueue a NULL answer message!"), 1);
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxPending, CatchesAnExceptionInTheFlow) {
    const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
    mux.Route(Request(10, "m1", LockData()));
    EXPECT_EQ(log.Count(plog::error, "Exception throw in pop next message flow."), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Explicit release of mutex guards."), 1);
    EXPECT_EQ(log.Count(plog::debug, "The exception was: no memory"), 1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxPending, DoesNotKeepTheMessageIDOfARequestThatAnExceptionHasEnded) {
    {
        const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
        mux.Route(Request(10, "m1", LockData()), 41);
    }
    EXPECT_EQ(mux.PendingCount(), 0U);
    mux.Route(Request(10, "m1", LockData()), 42);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
    EXPECT_TRUE(log.Holds(plog::info, "to socket with FD 42"));
}

TEST_F(BrenkMuxPending, AnExceptionLeavesAnOlderRequestOfTheSameMessageIDPending) {
    mux.Route(Request(10, "m1", LockData()));
    const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
    mux.Route(Request(10, "m1", LockData()));
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxPending, CatchesAnExceptionWhileItQueuesTheNack) {
    const LogHook fault("Enqueuing NACK mux answer", [] { throw std::runtime_error("no memory"); });
    mux.Route(Request(10, "m1", LockData(9)));
    EXPECT_EQ(log.Count(plog::error, "Exception thrown in enqueuing messages."), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Explicit release of mutex guards."), 1);
    EXPECT_EQ(log.Count(plog::error, "Exception throw in pop next message flow."), 0);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxPending, GoesOnAfterAnException) {
    {
        const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
        mux.Route(Request(10, "m1", LockData()));
    }
    mux.Route(Request(10, "m2", LockData()));
    EXPECT_EQ(mux.PendingCount(), 1U);
}

}  // namespace
}  // namespace Mux
