#include "proxy/queue/GatewayQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kReception = "reception";
constexpr const char* kGate = "gate";

// A queue with a time of its own.
struct GatewayQueueTest : testing::Test {
    void Add(const char* client, RequestNumber request) {
        EXPECT_EQ(queue.Add(client, request, now, now), std::nullopt);
    }

    QueueWork After(milliseconds time) {
        now += time;
        return queue.Advance(now, isMuxThere);
    }

    std::vector<RequestNumber> SentAfter(milliseconds time) { return After(time).toSend; }

    // Leaves requests unanswered until the gateway counts as silent.
    void Silence() {
        for (RequestNumber request = 901; request <= 903; ++request) {
            Add(kReception, request);
            EXPECT_THAT(SentAfter(seconds(2)), ElementsAre(request));
        }
        After(seconds(16));
        ASSERT_TRUE(queue.IsSilent());
    }

    Time now{seconds(1000000)};
    bool isMuxThere = true;
    GatewayQueue queue;
};

TEST_F(GatewayQueueTest, SendsTheNextRequestWhenTheLastIsAnswered) {
    Add(kReception, 1);
    Add(kReception, 2);
    EXPECT_THAT(SentAfter(seconds(0)), ElementsAre(1));
    EXPECT_THAT(SentAfter(milliseconds(1999)), IsEmpty());
    EXPECT_TRUE(queue.Answered(1));
    EXPECT_THAT(SentAfter(seconds(0)), ElementsAre(2));
}

TEST_F(GatewayQueueTest, SendsTheNextRequestTwoSecondsAfterOneWithoutAnAnswer) {
    Add(kReception, 1);
    Add(kReception, 2);
    After(seconds(0));
    EXPECT_EQ(queue.NextTime(true), now + seconds(2));
    EXPECT_THAT(SentAfter(milliseconds(1999)), IsEmpty());
    EXPECT_THAT(SentAfter(milliseconds(1)), ElementsAre(2));
}

TEST_F(GatewayQueueTest, AnAnswerToAnOlderRequestDoesNotHurryTheNext) {
    for (const RequestNumber request : {1U, 2U, 3U}) {
        Add(kReception, request);
    }
    After(seconds(0));
    EXPECT_THAT(SentAfter(seconds(2)), ElementsAre(2));
    EXPECT_TRUE(queue.Answered(1));
    EXPECT_THAT(SentAfter(seconds(1)), IsEmpty());
    EXPECT_THAT(SentAfter(seconds(1)), ElementsAre(3));
}

TEST_F(GatewayQueueTest, LeavesAtMostFourUnanswered) {
    for (RequestNumber request = 1; request <= 5; ++request) {
        Add(kReception, request);
        EXPECT_EQ(SentAfter(seconds(2)).size(), request <= 4 ? 1U : 0U) << request;
    }
    EXPECT_TRUE(queue.Answered(1));
    EXPECT_THAT(SentAfter(seconds(2)), ElementsAre(5));
}

TEST_F(GatewayQueueTest, ClientsTakeTurns) {
    for (const RequestNumber request : {1U, 2U, 3U}) {
        Add(kReception, request);
    }
    Add(kGate, 11);
    std::vector<RequestNumber> sent;
    for (int turn = 0; turn < 4; ++turn) {
        sent.push_back(SentAfter(milliseconds(300)).at(0));
        queue.Answered(sent.back());
    }
    EXPECT_THAT(sent, ElementsAre(1, 11, 2, 3));
}

TEST_F(GatewayQueueTest, AFloodingClientFillsItsOwnRoomOnly) {
    for (RequestNumber request = 1; request <= GatewayQueue::kMostWaiting; ++request) {
        Add(kReception, request);
    }
    EXPECT_EQ(queue.Add(kReception, 100, now, now), QueueEnding::kNoRoom);
    Add(kGate, 101);
}

TEST_F(GatewayQueueTest, ARequestThatWaitsFiveSecondsIsNotSent) {
    for (const RequestNumber request : {1U, 2U, 3U, 4U}) {
        Add(kReception, request);
    }
    EXPECT_THAT(SentAfter(seconds(0)), ElementsAre(1));
    EXPECT_THAT(SentAfter(seconds(2)), ElementsAre(2));
    EXPECT_THAT(SentAfter(seconds(2)), ElementsAre(3));
    EXPECT_EQ(queue.NextTime(true), now + seconds(1));
    const QueueWork work = After(seconds(1));
    EXPECT_THAT(work.toSend, IsEmpty());
    EXPECT_THAT(work.ended, ElementsAre(QueueWork::Ended{4, QueueEnding::kTooLong}));
}

TEST_F(GatewayQueueTest, TheWaitCountsFromTheReceptionOfTheRequest) {
    isMuxThere = false;
    ASSERT_EQ(queue.Add(kReception, 1, now - seconds(4), now), std::nullopt);
    EXPECT_EQ(queue.NextTime(false), now + seconds(1));
    EXPECT_THAT(After(seconds(1)).ended, ElementsAre(QueueWork::Ended{1, QueueEnding::kMuxAway}));
}

TEST_F(GatewayQueueTest, SendsNothingWhileTheMuxIsAway) {
    isMuxThere = false;
    Add(kReception, 1);
    EXPECT_THAT(SentAfter(seconds(3)), IsEmpty());
    isMuxThere = true;
    EXPECT_THAT(SentAfter(seconds(1)), ElementsAre(1));
}

TEST_F(GatewayQueueTest, ARequestWithoutAnAnswerEndsAfterFifteenSeconds) {
    Add(kReception, 1);
    After(seconds(0));
    EXPECT_THAT(After(milliseconds(14999)).ended, IsEmpty());
    EXPECT_EQ(queue.NextTime(true), now + milliseconds(1));
    EXPECT_THAT(After(milliseconds(1)).ended, ElementsAre(QueueWork::Ended{1, QueueEnding::kNoAnswer}));
    EXPECT_FALSE(queue.Answered(1));
}

TEST_F(GatewayQueueTest, DropsWhatAClientThatLeftHasNotSent) {
    Add(kReception, 1);
    Add(kReception, 2);
    Add(kGate, 11);
    After(seconds(0));
    EXPECT_TRUE(queue.Drop(kReception, 2));
    EXPECT_FALSE(queue.Drop(kReception, 1));
    EXPECT_TRUE(queue.Answered(1));
    EXPECT_THAT(SentAfter(seconds(0)), ElementsAre(11));
}

TEST_F(GatewayQueueTest, EndsWhatWasSentWhenTheMuxIsLost) {
    Add(kReception, 1);
    Add(kReception, 2);
    After(seconds(0));
    std::vector<QueueWork::Ended> ended;
    queue.LoseSent(ended);
    EXPECT_THAT(ended, ElementsAre(QueueWork::Ended{1, QueueEnding::kMuxLost}));
    EXPECT_THAT(SentAfter(milliseconds(1)), ElementsAre(2));
}

TEST_F(GatewayQueueTest, ASilentGatewayRefusesWhatWaits) {
    for (RequestNumber request = 1; request <= 3; ++request) {
        Add(kReception, request);
        SentAfter(seconds(2));
    }
    now += seconds(14);
    Add(kGate, 11);
    Add(kGate, 12);
    EXPECT_THAT(After(seconds(0)).toSend, ElementsAre(11));
    EXPECT_THAT(After(seconds(1)).ended,
                ElementsAre(QueueWork::Ended{3, QueueEnding::kNoAnswer}, QueueWork::Ended{12, QueueEnding::kSilent}));
}

TEST_F(GatewayQueueTest, ASilentGatewayGetsOneRequestAMinute) {
    Silence();
    EXPECT_EQ(queue.Add(kReception, 1, now, now), QueueEnding::kSilent);
    now += seconds(60);
    Add(kReception, 2);
    EXPECT_EQ(queue.Add(kGate, 3, now, now), QueueEnding::kSilent);
    EXPECT_THAT(SentAfter(seconds(0)), ElementsAre(2));
    now += seconds(59);
    queue.Advance(now, true);
    EXPECT_EQ(queue.Add(kReception, 4, now, now), QueueEnding::kSilent);
    now += seconds(1);
    Add(kReception, 5);
}

TEST_F(GatewayQueueTest, AnAnswerEndsTheSilence) {
    Silence();
    now += seconds(60);
    Add(kReception, 1);
    After(seconds(0));
    EXPECT_TRUE(queue.Answered(1));
    EXPECT_FALSE(queue.IsSilent());
}

TEST_F(GatewayQueueTest, ALateAnswerEndsTheSilence) {
    Silence();
    queue.AnsweredLate();
    Add(kReception, 1);
}

TEST_F(GatewayQueueTest, AnIdleQueueHasNothingToDo) {
    EXPECT_TRUE(queue.IsIdle());
    EXPECT_EQ(queue.NextTime(true), std::nullopt);
    Add(kReception, 1);
    EXPECT_FALSE(queue.IsIdle());
    EXPECT_EQ(queue.NextTime(false), now + seconds(5));
}

}  // namespace
}  // namespace MuxProxy
