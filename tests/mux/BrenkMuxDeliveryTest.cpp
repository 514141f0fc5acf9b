// Delivery of the head of the answer queue, with all log lines. A Mux that is not started has no server socket, so
// every delivery fails, as it does for a client that has gone.

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"

using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::CapturedLog;
using Testing::LogHook;
using Testing::MuxLog;
using Testing::RecordFor;
using Testing::Request;
using Testing::Steps;
using Testing::TestMux;

namespace Mux {
namespace {

// The messages have a fixed time, so that the text of their payload is known.
RecordPointer AnswerFor(int descriptor, const std::string& id = "m1") {
    RecordPointer record = RecordFor(descriptor);
    record->answer =
        std::make_unique<MuxMessage>(7, id, MUX_MESSAGE_NACK, MuxMessageBuilder().BuildNackPayload(8, "no"));
    return record;
}

std::shared_ptr<MuxMessage> EventWithCard(const std::string& card) {
    return std::make_shared<MuxMessage>(7, "e1", MUX_MESSAGE_EVENT_INFO,
                                        MuxMessageBuilder().BuildCardEvent(1, 5, "t", card));
}

// A message that has no text.
std::unique_ptr<MuxMessage> NotANumber() {
    const rapidjson::Value notANumber(std::numeric_limits<double>::quiet_NaN());
    return MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, "m1", MuxMessageBuilder().BuildAckPayload(notANumber));
}

Steps AnswerAttempt(const std::string& descriptor) {
    return {
        {verbose, "Message m1 popped."},
        {verbose, "Converting NACK Message."},
        {info, "Sending message answer with ID m1 to socket with FD " + descriptor},
        {verbose,
         R"(Message payload: {"Timestamp":7,"MessageID":"m1","MessageCode":1,"Data":{"ErrorCode":8,"Message":"no"}})"}};
}

Steps EventAttempt(const std::string& descriptor) {
    return {{verbose, "Event message e1 popped."},
            {verbose, "Current Message Code: 60"},
            {debug, "Sending event to socket with FD " + descriptor}};
}

class BrenkMuxDelivery : public testing::Test {
  protected:
    void Deliver(int passes) {
        for (int pass = 0; pass < passes; ++pass) {
            EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
        }
    }

    void ExpectSteps(const Steps& steps) {
        const MuxLog muxLog(log);
        Deliver(1);
        muxLog.Expect(steps);
    }

    // Expects 15 attempts for the head of the queue; the last one gives it up.
    void ExpectFifteen(const Steps& attempt, const std::string& givenUp) {
        const std::size_t before = mux.AnswerCount();
        for (int count = 1; count < 15; ++count) {
            ExpectSteps(attempt);
        }
        EXPECT_EQ(mux.AnswerCount(), before);
        ExpectSteps(attempt + Steps{{error, givenUp}});
        EXPECT_EQ(mux.AnswerCount(), before - 1);
    }

    const CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxDelivery, DoesNothingWhileTheQueueIsEmpty) {
    ExpectSteps({});
}

TEST_F(BrenkMuxDelivery, RemovesOneRecordAPassThatHoldsNothingToSend) {
    mux.PushAnswer(nullptr);
    mux.PushAnswer(RecordFor(999, EventWithCard("0A")));
    mux.PushAnswer(RecordFor(999, nullptr, true));
    ExpectSteps({{error, "Popped message answer is NULL!!!"}});
    EXPECT_EQ(mux.AnswerCount(), 2U);
    ExpectSteps({{error, "AnswerMessage part in the answer message record structure is missing."}});
    ExpectSteps({{error, "Message part in the event record structure is missing."}});
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxDelivery, PausesTheLoop10MillisecondsAtANullRecord) {
    mux.PushAnswer(nullptr);
    const auto start = std::chrono::steady_clock::now();
    Deliver(1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
}

TEST_F(BrenkMuxDelivery, AnAnswerThatCannotBeDeliveredHoldsUpThoseBehindItFor15Attempts) {
    mux.PushAnswer(AnswerFor(999));
    mux.PushAnswer(AnswerFor(999, "m2"));
    ExpectFifteen(AnswerAttempt("999"),
                  "Cannot send message to socket with FD 999. Tried 15, I will delete the answer from queue.");
    Deliver(1);
    EXPECT_EQ(log.Count(verbose, "Message m2 popped."), 1);
}

TEST_F(BrenkMuxDelivery, AnEventIsTried15TimesForEachClientAndFreedWithItsLastRecord) {
    auto event = EventWithCard("0A");
    const std::weak_ptr<MuxMessage> watched = event;
    mux.PushAnswer(RecordFor(41, event, true));
    mux.PushAnswer(RecordFor(42, std::move(event), true));
    ExpectFifteen(EventAttempt("41"),
                  "Cannot send event to socket with FD 41. Tried 15, I will delete the answer from queue.");
    EXPECT_FALSE(watched.expired());
    ExpectFifteen(EventAttempt("42"),
                  "Cannot send event to socket with FD 42. Tried 15, I will delete the answer from queue.");
    EXPECT_TRUE(watched.expired());
}

std::size_t BytesInUse() {
    const struct mallinfo2 memory = mallinfo2();
    return memory.uordblks + memory.hblkhd;
}

// Each attempt builds its text anew. A race or address checker has a heap of its own, of which this sees nothing.
TEST_F(BrenkMuxDelivery, KeepsNoMemoryOfTheTextsThatItHasBuilt) {
    constexpr std::size_t kSize = 60000;
    constexpr int kAttempts = 60;
    for (int record = 0; record < kAttempts / 15 + 1; ++record) {
        mux.PushAnswer(RecordFor(999, EventWithCard(std::string(kSize, '0')), true));
    }
    Deliver(1);
    const std::size_t before = BytesInUse();
    Deliver(kAttempts);
    EXPECT_LT(BytesInUse(), before + kAttempts * kSize / 10);
}

TEST_F(BrenkMuxDelivery, LeavesAnAnswerAndAnEventAtTheHeadThatGiveNoBytes) {
    for (const bool isEvent : {false, true}) {
        TestMux another;
        RecordPointer record = RecordFor(999, isEvent ? NotANumber() : nullptr, isEvent);
        record->answer = isEvent ? nullptr : NotANumber();
        another.PushAnswer(std::move(record));
        const MuxLog muxLog(log);
        EXPECT_FALSE(another.SendMessageToClientIfAvailable());
        muxLog.Expect({{verbose, isEvent ? "Event message m1 popped." : "Message m1 popped."},
                       {verbose, " Converting ACK Message."}});
        EXPECT_EQ(another.AnswerCount(), 1U);
    }
}

// The guard of the queue is held for as long as a client takes to be sent to, and must keep nobody else out of it.
TEST_F(BrenkMuxDelivery, AnswersAreQueuedWhileADeliveryHoldsItsGuard) {
    mux.PushAnswer(AnswerFor(999));
    const LogHook meanwhile("Sending message answer",
                            [this] { std::thread([this] { mux.Route(Request(99, "m2")); }).join(); });
    Deliver(1);
    EXPECT_EQ(meanwhile.Runs(), 1);
    EXPECT_EQ(mux.AnswerCount(), 2U);
    EXPECT_FALSE(log.Holds(error, "The current message to enqueue will be lost."));
}

TEST_F(BrenkMuxDelivery, SkipsAPassWhenItCannotLockAndLosesNothing) {
    mux.PushAnswer(AnswerFor(999));
    mux.DestroyMutexes();
    Deliver(1);
    EXPECT_EQ(log.Count(warning, "Cannot acquire resource mutex for send message to client queue."), 1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_FALSE(log.Holds(verbose, "Message m1 popped."));
}

// A started Mux without gateways whose one client asks for nothing: its main thread alone logs.
TEST(BrenkMuxDelivered, AnAnswerAndAnEventAreLoggedAndReachTheirClient) {
    const Testing::ReservedPort port;
    const CapturedLog log;
    TestMux mux(port.Number());
    mux.Start();
    Testing::MuxClient client(port.Number());
    ASSERT_TRUE(log.WaitFor(debug, " accepted."));
    ASSERT_TRUE(log.WaitFor(verbose, "Starting main thread control loop."));
    const int descriptor = Testing::LatestDescriptor(log);
    const std::string number = std::to_string(descriptor);

    const MuxLog answerLog(log);
    mux.PushAnswer(AnswerFor(descriptor));
    ASSERT_TRUE(log.WaitFor(verbose, "Message sent. Deallocating messages memory."));
    answerLog.Expect(AnswerAttempt(number) + Steps{{verbose, "Message sent. Deallocating messages memory."}});
    EXPECT_NE(client.Receive().find(R"("MessageID":"m1")"), std::string::npos);

    const MuxLog eventLog(log);
    mux.PushAnswer(RecordFor(descriptor, EventWithCard("0A"), true));
    ASSERT_TRUE(log.WaitFor(debug, "Event sent. Deallocating messages memory."));
    eventLog.Expect(EventAttempt(number) + Steps{{debug, "Event sent. Deallocating messages memory."}});
    EXPECT_NE(client.Receive().find(R"("MessageID":"e1")"), std::string::npos);
}

}  // namespace
}  // namespace Mux
