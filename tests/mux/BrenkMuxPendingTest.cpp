// Requests that wait for a gateway's answer: the list, and its use by the Mux.

#include <gtest/gtest.h>

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

using Testing::kOpened;
using Testing::LockData;
using Testing::LogHook;
using Testing::RecordFor;
using Testing::Request;
using Testing::RequestNack;

namespace Mux {
namespace {

std::shared_ptr<MuxMessage> Message(int code, const std::string& data) {
    return MuxMessageBuilder().ParseMessage(Request(code, "m1", data));
}

class PendingRequestsTest : public testing::Test {
  protected:
    // Adds a request with the ID m1; returns its record, which the list owns.
    const MuxRequestRecord* Add(int descriptor) {
        RecordPointer record = RecordFor(descriptor, Message(10, LockData()));
        const MuxRequestRecord* const added = record.get();
        EXPECT_TRUE(pending.Add(record));
        EXPECT_EQ(record, nullptr);
        return added;
    }

    PendingRequests pending{"testPendingMutex"};
};

TEST_F(PendingRequestsTest, GivesEachRequestOutOnceByItsID) {
    Add(1);
    EXPECT_EQ(pending.Take("M1"), nullptr);
    EXPECT_EQ(pending.Take(""), nullptr);
    EXPECT_EQ(pending.Take("m1")->socketFD, 1);
    EXPECT_EQ(pending.Take("m1"), nullptr);
    EXPECT_EQ(pending.Count(), 0U);
}

TEST_F(PendingRequestsTest, KeepsTheFirstOfTheSameID) {
    Add(1);
    RecordPointer second = RecordFor(2, Message(10, LockData()));
    EXPECT_FALSE(pending.Add(second));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->socketFD, 2);
    EXPECT_EQ(pending.Take("m1")->socketFD, 1);
}

TEST_F(PendingRequestsTest, GivesBackWhatWasAddedUnlessItHasEndedMeanwhile) {
    const MuxRequestRecord* added = Add(1);
    EXPECT_EQ(pending.TakeBack(added, "m1").get(), added);
    EXPECT_EQ(pending.Count(), 0U);
    added = Add(1);
    const RecordPointer ended = pending.Take("m1");
    EXPECT_EQ(pending.TakeBack(added, "m1"), nullptr);
    Add(2);
    EXPECT_EQ(pending.TakeBack(added, "m1"), nullptr) << "a newcomer of the same ID";
    EXPECT_EQ(pending.Count(), 1U);
}

class BrenkMuxPending : public Testing::MuxWithGateway {};

TEST_F(BrenkMuxPending, HoldsEachRequestFromItsGatewaysYesToItsAnswer) {
    for (const char* const id : {"m1", "m2", "m3"}) {
        mux.Route(Request(22, id, LockData()));
    }
    EXPECT_EQ(mux.PendingCount(), 3U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    mux.AnswerFromGateway("m2", 0);
    mux.AnswerFromGateway("m2", 0);
    EXPECT_EQ(mux.PendingCount(), 2U);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m2","MessageCode":0,"Data":{}})");
}

TEST_F(BrenkMuxPending, OfTwoRequestsWithOneMessageIDKeepsTheOlderAndFreesTheOther) {
    mux.Route(Request(10, "m1", LockData()), 41);
    auto newer = Message(22, LockData());
    const std::weak_ptr<MuxMessage> watched = newer;
    EXPECT_TRUE(mux.SendMessageToVG(RecordFor(42, std::move(newer)).release()));
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(log.Count(plog::info, "Message correctly enqueued by Virtual Gateway. MessageID: m1"), 2);
    EXPECT_EQ(mux.PendingCount(), 1U);
    mux.AnswerFromGateway("m1", 0);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(mux.TakeAnswer(log), kOpened);
    EXPECT_TRUE(log.Holds(plog::info, "to socket with FD 41"));
    EXPECT_FALSE(log.Holds(plog::info, "to socket with FD 42"));
}

TEST_F(BrenkMuxPending, TakesAMessageIDAgainOnceItsRequestIsAnswered) {
    for (std::size_t answers = 1; answers <= 2; ++answers) {
        mux.Route(Request(10, "m1", LockData()));
        EXPECT_EQ(mux.PendingCount(), 1U);
        mux.AnswerFromGateway("m1", 0);
        EXPECT_EQ(mux.AnswerCount(), answers);
    }
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
    for (std::size_t pending = 0; pending < 2; ++pending) {
        const RecordPointer record = RecordFor(41, Message(10, LockData(9)));
        EXPECT_FALSE(mux.SendMessageToVG(record.get()));
        EXPECT_EQ(mux.PendingCount(), pending);
        EXPECT_EQ(record->socketFD, 41);
        ASSERT_NE(record->message, nullptr);
        EXPECT_EQ(record->message->MessageID(), "m1");
        EXPECT_EQ(record->answer, nullptr);
        mux.Route(Request(10, "m1", LockData()));  // whose ID is then taken
    }
}

TEST_F(BrenkMuxPending, CannotSendANullRecordOrOneWithoutMessage) {
    EXPECT_FALSE(mux.SendMessageToVG(nullptr));
    EXPECT_TRUE(log.Holds(plog::debug,
                          "bool Mux::BrenkMux::SendMessageToVG(Mux::MuxRequestRecord*) SendMessageToVG MutexGuard"));
    const RecordPointer record = RecordFor(41);
    EXPECT_FALSE(mux.SendMessageToVG(record.get()));
    EXPECT_EQ(mux.PendingCount(), 0U);
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

}  // namespace
}  // namespace Mux
