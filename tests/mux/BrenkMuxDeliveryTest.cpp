// The delivery of answers and events at the head of the answer queue. These Muxes are not started: without a server
// socket every delivery fails, as it does for a client that has gone.

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
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::LogHook;
using Testing::Request;
using Testing::TestMux;

namespace Mux {
namespace {

class BrenkMuxDelivery : public testing::Test {
  protected:
    void Deliver(int passes) {
        for (int pass = 0; pass < passes; ++pass) {
            EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
        }
    }

    const CapturedLog log;
    TestMux mux;
};

std::unique_ptr<MuxMessage> Ack(const std::string& messageID) {
    return MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, messageID, MuxMessageBuilder().BuildAckPayload());
}

RecordPointer RecordOf(int descriptor) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, nullptr);
}

RecordPointer AnswerRecord(const std::string& messageID, int descriptor = 999) {
    RecordPointer record = RecordOf(descriptor);
    record->answer = Ack(messageID);
    return record;
}

std::shared_ptr<MuxMessage> Event(const std::string& messageID) {
    return MuxMessageBuilder().BuildMessage(MUX_MESSAGE_EVENT_CARD_READER, messageID,
                                            MuxMessageBuilder().BuildCardEvent(1, 5, "time", "0A"));
}

RecordPointer EventRecord(std::shared_ptr<MuxMessage> event, int descriptor = 999) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, std::move(event), true);
}

TEST_F(BrenkMuxDelivery, DoesNothingWhileTheQueueIsEmpty) {
    const std::size_t before = log.Lines().size();
    EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
    EXPECT_EQ(log.Lines().size(), before) << log.Text();
}

TEST_F(BrenkMuxDelivery, ANullHeadRecordIsRemovedAndTheLoopPauses10Milliseconds) {
    mux.PushAnswer(nullptr);
    mux.PushAnswer(AnswerRecord("m1"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
    EXPECT_EQ(log.Count(plog::error, "Popped message answer is NULL!!!"), 1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
}

TEST_F(BrenkMuxDelivery, RemovesARecordWithoutAnswer) {
    mux.PushAnswer(RecordOf(999));
    EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
    EXPECT_EQ(log.Count(plog::error, "AnswerMessage part in the answer message record structure is missing."), 1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxDelivery, RemovesAnEventRecordWithoutMessage) {
    mux.PushAnswer(EventRecord(nullptr));
    EXPECT_FALSE(mux.SendMessageToClientIfAvailable());
    EXPECT_EQ(log.Count(plog::error, "Message part in the event record structure is missing."), 1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxDelivery, HandlesOneRecordAPass) {
    for (int count = 0; count < 3; ++count) {
        mux.PushAnswer(RecordOf(999));
    }
    mux.SendMessageToClientIfAvailable();
    EXPECT_EQ(mux.AnswerCount(), 2U);
    mux.SendMessageToClientIfAvailable();
    EXPECT_EQ(mux.AnswerCount(), 1U);
}

TEST_F(BrenkMuxDelivery, LogsEachAttemptForAnAnswer) {
    mux.PushAnswer(AnswerRecord("m1"));
    Deliver(1);
    EXPECT_EQ(log.Count(plog::verbose, "Message m1 popped."), 1);
    EXPECT_EQ(log.Count(plog::info, "Sending message answer with ID m1 to socket with FD 999"), 1);
    EXPECT_TRUE(log.Holds(plog::verbose, "Message payload: {\"Timestamp\":"));
    Deliver(1);
    EXPECT_EQ(log.Count(plog::info, "Sending message answer with ID m1 to socket with FD 999"), 2);
}

TEST_F(BrenkMuxDelivery, AnAnswerForAVanishedClientIsTried15TimesAndThenDroppedWithItsLine) {
    mux.PushAnswer(AnswerRecord("m1"));
    Deliver(14);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_FALSE(log.Holds(plog::error, "I will delete the answer from queue."));
    Deliver(1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(log.Count(plog::error,
                        "Cannot send message to socket with FD 999. Tried 15, I will delete the answer from queue."),
              1);
    EXPECT_EQ(log.Count(plog::info, "Sending message answer with ID m1 to socket with FD 999"), 15);
}

TEST_F(BrenkMuxDelivery, AnEventForAVanishedClientIsTried15TimesAndThenDroppedWithItsLine) {
    mux.PushAnswer(EventRecord(Event("e1")));
    Deliver(14);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    Deliver(1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(log.Count(plog::error,
                        "Cannot send event to socket with FD 999. Tried 15, I will delete the answer from queue."),
              1);
    EXPECT_EQ(log.Count(plog::verbose, "Event message e1 popped."), 15);
    EXPECT_EQ(log.Count(plog::debug, "Sending event to socket with FD 999"), 15);
}

TEST_F(BrenkMuxDelivery, AnAnswerThatCannotBeDeliveredHoldsUpThoseBehindIt) {
    mux.PushAnswer(AnswerRecord("m1"));
    mux.PushAnswer(AnswerRecord("m2"));
    Deliver(15);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(log.Count(plog::verbose, "Message m2 popped."), 0);
    Deliver(1);
    EXPECT_EQ(log.Count(plog::verbose, "Message m2 popped."), 1);
}

TEST_F(BrenkMuxDelivery, CountsTheAttemptsOfEachRecordByItself) {
    const auto event = Event("e1");
    mux.PushAnswer(EventRecord(event, 41));
    mux.PushAnswer(EventRecord(event, 42));
    Deliver(30);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(log.Count(plog::debug, "Sending event to socket with FD 41"), 15);
    EXPECT_EQ(log.Count(plog::debug, "Sending event to socket with FD 42"), 15);
}

TEST_F(BrenkMuxDelivery, FreesTheEventWithItsLastRecord) {
    auto event = Event("e1");
    const std::weak_ptr<MuxMessage> watched = event;
    mux.PushAnswer(EventRecord(event, 41));
    mux.PushAnswer(EventRecord(std::move(event), 42));
    Deliver(15);
    EXPECT_FALSE(watched.expired());
    Deliver(15);
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
        mux.PushAnswer(EventRecord(MuxMessageBuilder().BuildMessage(
            MUX_MESSAGE_EVENT_INFO, "e1", MuxMessageBuilder().BuildCardEvent(1, 5, "", std::string(kSize, '0')))));
    }
    Deliver(1);
    const std::size_t before = BytesInUse();
    Deliver(kAttempts);
    EXPECT_LT(BytesInUse(), before + kAttempts * kSize / 10);
}

TEST_F(BrenkMuxDelivery, LeavesARecordAtTheHeadThatGivesNoBytes) {
    const rapidjson::Value notANumber(std::numeric_limits<double>::quiet_NaN());
    RecordPointer record = RecordOf(999);
    record->answer =
        MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, "m1", MuxMessageBuilder().BuildAckPayload(notANumber));
    mux.PushAnswer(std::move(record));
    Deliver(1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(log.Count(plog::verbose, "Message m1 popped."), 1);
    EXPECT_FALSE(log.Holds(plog::info, "Sending message answer"));
}

TEST_F(BrenkMuxDelivery, LeavesAnEventAtTheHeadThatGivesNoBytes) {
    const rapidjson::Value notANumber(std::numeric_limits<double>::quiet_NaN());
    mux.PushAnswer(EventRecord(
        MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, "e1", MuxMessageBuilder().BuildAckPayload(notANumber))));
    Deliver(1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_EQ(log.Count(plog::verbose, "Event message e1 popped."), 1);
    EXPECT_FALSE(log.Holds(plog::debug, "Sending event to socket"));
}

// The guard of the queue is held for as long as a client takes to be sent to, and must keep nobody else out of it.
TEST_F(BrenkMuxDelivery, AnswersAreQueuedWhileADeliveryHoldsItsGuard) {
    mux.PushAnswer(AnswerRecord("m1"));
    const LogHook meanwhile("Sending message answer",
                            [this] { std::thread([this] { mux.Route(Request(99, "m2")); }).join(); });
    Deliver(1);
    EXPECT_EQ(meanwhile.Runs(), 1);
    EXPECT_EQ(mux.AnswerCount(), 2U);
    EXPECT_FALSE(log.Holds(plog::error, "The current message to enqueue will be lost."));
}

TEST_F(BrenkMuxDelivery, SkipsAPassWhenItCannotLockAndLosesNothing) {
    mux.PushAnswer(AnswerRecord("m1"));
    mux.DestroyMutexes();
    Deliver(1);
    EXPECT_EQ(log.Count(plog::warning, "Cannot acquire resource mutex for send message to client queue."), 1);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    EXPECT_FALSE(log.Holds(plog::verbose, "Message m1 popped."));
}

}  // namespace
}  // namespace Mux
