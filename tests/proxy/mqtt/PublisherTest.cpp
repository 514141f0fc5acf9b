#include "proxy/mqtt/Publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "proxy/mqtt/RetainedMessages.h"
#include "tests/proxy/mqtt/RecordedBroker.h"

namespace MuxProxy {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

// Answers when the test says so.
class Outbox : public OutboxPort {
  public:
    void ReadMessages(std::int64_t after, std::size_t count, Reader reader) override {
        answer_ = [this, after, count, reader = std::move(reader)] {
            OutboxMessages read;
            for (const OutboxMessage& message : messages) {
                if (message.number > after && read.size() < count) {
                    read.push_back(message);
                }
            }
            reader(read);
        };
    }
    void RemoveMessages(std::int64_t upTo) override { removed.push_back(upTo); }
    void CountDropped() override { ++dropped; }

    void Add(std::int64_t number) {
        OutboxMessage message;
        message.number = number;
        message.id = "f-" + std::to_string(number);
        message.topic = "t";
        message.payload = R"({"n":)" + std::to_string(number) + "}";
        messages.push_back(message);
    }

    // False if nothing was asked.
    bool Answer() {
        const auto answer = std::exchange(answer_, {});
        answer ? answer() : static_cast<void>(0);
        return answer != nullptr;
    }

    OutboxMessages messages;
    std::vector<std::int64_t> removed;
    int dropped = 0;

  private:
    std::function<void()> answer_;
};

struct PublisherTest : testing::Test {
    void Add(std::int64_t first, std::int64_t last) {
        for (std::int64_t number = first; number <= last; ++number) {
            outbox.Add(number);
        }
    }

    void Acknowledge(PublishNumber number) { publisher.Published(number, PublishResult::kTaken, now); }

    Outbox outbox;
    RecordedBroker broker;
    Publisher publisher{outbox, broker, [](const OutboxMessage& message) { return message.topic == "answer"; }};
    Publisher::Time now{seconds(1000)};
};

TEST_F(PublisherTest, MessagesGoInOrderWithTheirIds) {
    Add(1, 2);
    outbox.messages.back().correlationData = "c";
    publisher.MessagesCame();
    EXPECT_FALSE(outbox.Answer()) << "there is no connection";
    publisher.Opened(7);
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), ElementsAre(R"(t {"id":"f-1","n":1})", R"(t {"id":"f-2","n":2} c)"));
    EXPECT_THAT(broker.connections, ElementsAre(7, 7));
    EXPECT_THAT(outbox.removed, IsEmpty());
}

TEST_F(PublisherTest, NoMoreThanTwentyAreUnderWay) {
    Add(1, 30);
    publisher.Opened(1);
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), SizeIs(20));
    EXPECT_FALSE(outbox.Answer());
    Acknowledge(1);
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), ElementsAre(R"(t {"id":"f-21","n":21})"));
}

TEST_F(PublisherTest, OnlyTheAcknowledgedOnesAtTheFrontAreRemoved) {
    Add(1, 3);
    publisher.Opened(1);
    outbox.Answer();
    Acknowledge(2);
    EXPECT_THAT(outbox.removed, IsEmpty());
    Acknowledge(1);
    EXPECT_THAT(outbox.removed, ElementsAre(2));
    EXPECT_FALSE(publisher.Published(99, PublishResult::kTaken, now));
}

TEST_F(PublisherTest, ANewConnectionBeginsWithTheFirstThatTheBrokerMayNotHave) {
    Add(1, 3);
    publisher.Opened(1);
    outbox.Answer();
    broker.Taken();
    Acknowledge(1);
    Acknowledge(3);
    publisher.Lost();
    Acknowledge(2);
    publisher.Opened(2);
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), ElementsAre(R"(t {"id":"f-2","n":2})", R"(t {"id":"f-3","n":3})"));
    EXPECT_THAT(outbox.removed, ElementsAre(1));
}

TEST_F(PublisherTest, WhatWasReadForAnEarlierConnectionIsReadAgain) {
    Add(1, 1);
    publisher.Opened(1);
    publisher.Lost();
    publisher.Opened(2);
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), IsEmpty());
    outbox.Answer();
    EXPECT_THAT(broker.connections, ElementsAre(2));
}

TEST_F(PublisherTest, AMessageThatComesDuringAReadingIsNotForgotten) {
    publisher.Opened(1);
    publisher.MessagesCame();
    outbox.Answer();
    Add(1, 1);
    EXPECT_TRUE(outbox.Answer());
    EXPECT_THAT(broker.Taken(), SizeIs(1));
    EXPECT_FALSE(outbox.Answer());
}

TEST_F(PublisherTest, ARefusedMessageIsTriedAgainAMinuteLater) {
    Add(1, 2);
    publisher.Opened(1);
    outbox.Answer();
    publisher.Published(1, PublishResult::kRefused, now);
    Acknowledge(2);
    broker.Taken();
    Add(3, 3);
    publisher.MessagesCame();
    EXPECT_FALSE(outbox.Answer()) << "those behind it wait";
    ASSERT_EQ(publisher.NextTime(), now + seconds(60));
    publisher.Advance(now + seconds(59));
    EXPECT_THAT(broker.Taken(), IsEmpty());
    publisher.Advance(now + seconds(60));
    EXPECT_THAT(broker.Taken(), ElementsAre(R"(t {"id":"f-1","n":1})"));
    Acknowledge(3);
    EXPECT_THAT(outbox.removed, ElementsAre(2));
    outbox.Answer();
    EXPECT_THAT(broker.Taken(), ElementsAre(R"(t {"id":"f-3","n":3})"));
}

TEST_F(PublisherTest, AnImpossibleMessageHoldsUpNoOther) {
    Add(1, 1);
    publisher.Opened(1);
    outbox.Answer();
    publisher.Published(1, PublishResult::kImpossible, now);
    EXPECT_THAT(outbox.removed, ElementsAre(1));
    EXPECT_EQ(outbox.dropped, 1);
}

TEST_F(PublisherTest, ARefusedAnswerHoldsUpNoOther) {
    Add(1, 2);
    outbox.messages.front().topic = "answer";
    publisher.Opened(1);
    outbox.Answer();
    publisher.Published(1, PublishResult::kRefused, now);
    Acknowledge(2);
    EXPECT_THAT(outbox.removed, ElementsAre(1, 2));
    EXPECT_EQ(outbox.dropped, 1);
    EXPECT_EQ(publisher.NextTime(), std::nullopt);
}

struct RetainedMessagesTest : testing::Test {
    RecordedBroker broker;
    RetainedMessages messages{broker};
};

TEST_F(RetainedMessagesTest, TheLastOfATopicIsPublishedWithEachConnection) {
    messages.Set("a", "1");
    messages.Set("a", "2");
    EXPECT_THAT(broker.Taken(), IsEmpty());
    messages.Opened(1);
    EXPECT_THAT(broker.Taken(), ElementsAre("a 2"));
    EXPECT_THAT(broker.messages, ElementsAre(Field(&BrokerMessage::isRetained, true)));
    messages.Lost();
    messages.Opened(2);
    EXPECT_THAT(broker.Taken(), ElementsAre("a 2"));
    EXPECT_THAT(broker.connections, ElementsAre(1, 2));
    messages.PublishAgain();
    EXPECT_THAT(broker.Taken(), ElementsAre("a 2"));
}

TEST_F(RetainedMessagesTest, ABrokerThatTakesNothingGetsTwentyAndThenTheLastOfEach) {
    messages.Opened(1);
    for (int i = 0; i < 1000; ++i) {
        messages.Set("t" + std::to_string(i % 30), std::to_string(i));
    }
    EXPECT_THAT(broker.Taken(), SizeIs(20));
    EXPECT_TRUE(messages.Published(1));
    EXPECT_FALSE(messages.Published(1));
    EXPECT_THAT(broker.Taken(), ElementsAre("t20 980"));
    for (PublishNumber number = 2; number <= 20; ++number) {
        messages.Published(number);
    }
    EXPECT_THAT(broker.Taken(), SizeIs(19));
}

}  // namespace
}  // namespace MuxProxy
