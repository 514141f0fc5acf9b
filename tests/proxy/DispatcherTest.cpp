#include "proxy/dispatch/Dispatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <utility>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tools/client/Message.h"

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

// What the audit's thread posts is taken by the test's.
class Ports : public DispatcherPorts {
  public:
    Time Now() const override { return now; }
    void SendToClient(ConnectionNumber client, const std::string& text) override { answers.emplace_back(client, text); }
    void SendToMux(const std::string& text) override { toMux.push_back(MuxClient::Request::FromText(text)); }
    void PostAudited(RequestNumber request, bool isWritten) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        audited_.emplace_back(request, isWritten);
    }

    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) override {
        statuses.emplace_back(lock.lock, status.batteryStatus);
    }

    void EventCame(const AuditRow& event) override { news.push_back(event.operation + " " + event.card); }
    void RequestTaken(const TakenRequest& request) override {
        news.push_back("taken " + std::to_string(request.number) + " " + request.client);
    }
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending) override {
        news.push_back("ended " + std::to_string(request.number) + " " + request.client + " " + ending.result);
    }

    std::pair<RequestNumber, bool> WaitAudited() {
        Testing::WaitUntil([this] { return HasAudited(); });
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto audited = audited_.front();
        audited_.pop_front();
        return audited;
    }

    Time now{seconds(1000)};
    std::vector<std::pair<ConnectionNumber, std::string>> answers;
    std::vector<MuxClient::Request> toMux;
    std::vector<std::pair<std::int32_t, std::int32_t>> statuses;
    std::vector<std::string> news;

  private:
    bool HasAudited() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return !audited_.empty();
    }

    std::mutex mutex_;
    std::deque<std::pair<RequestNumber, bool>> audited_;
};

RightSet AllRights() {
    return RightSet().set();
}

AuditSettings SettingsIn(const Testing::TemporaryFolder& folder) {
    AuditSettings settings;
    settings.file = (folder.Path() / "audit.db").string();
    return settings;
}

struct DispatcherTest : testing::Test {
    DispatcherTest() {
        dispatcher.MuxConnected();
        ports.now += seconds(1);
    }

    static std::string Text(int code, const std::string& id, int gateway = 1) {
        return R"({"MessageID":")" + id + R"(","MessageCode":)" + std::to_string(code) + R"(,"Data":{"gatewayID":)" +
               std::to_string(gateway) + R"(,"lockID":5,"duration":7}})";
    }

    void Ask(int code, const std::string& id) { dispatcher.Received(reception, Text(code, id)); }

    void TakeAudited() {
        const auto [request, isWritten] = ports.WaitAudited();
        dispatcher.Audited(request, isWritten);
    }

    static std::string Ack(const std::string& id) {
        return R"({"Timestamp":1700000000,"MessageID":")" + id + R"(","MessageCode":0,"Data":{}})";
    }

    // Identifier and error code (0 for an ACK) of each answer since the last call.
    std::vector<std::string> Answers() {
        std::vector<std::string> texts;
        for (const auto& [client, text] : std::exchange(ports.answers, {})) {
            const MuxClient::Message message = MuxClient::ParseMessage(text);
            texts.push_back(message.id + ":" + std::to_string(message.refusal ? message.refusal->errorCode : 0));
        }
        return texts;
    }

    Testing::TemporaryFolder folder;
    Ports ports;
    AuditLog audit{SettingsIn(folder)};
    Dispatcher dispatcher{ports, audit,
                          std::make_shared<const Rights>(
                              std::vector<Rule>{{{"reception"}, AllRights(), NumberSet({{1, 1}}), NumberSet::All()}})};
    const ConnectionNumber reception = dispatcher.Connected({"reception", "192.0.2.1"});
};

TEST_F(DispatcherTest, AnOpeningGoesWhenItsRowIsOnDisk) {
    Ask(10, "a");
    EXPECT_THAT(ports.toMux, IsEmpty());
    TakeAudited();
    ASSERT_EQ(ports.toMux.size(), 1U);
    dispatcher.MuxSent(Ack(ports.toMux.at(0).id));
    EXPECT_THAT(ports.answers, ElementsAre(std::pair(reception, Ack("a"))));
}

TEST_F(DispatcherTest, AStatusRequestDoesNotWaitForTheDisk) {
    Ask(12, "a");
    EXPECT_EQ(ports.toMux.size(), 1U);
}

TEST_F(DispatcherTest, WhatCannotBeAuditedIsNotSent) {
    Ask(10, "a");
    dispatcher.Audited(ports.WaitAudited().first, false);
    EXPECT_THAT(ports.toMux, IsEmpty());
    EXPECT_THAT(Answers(), ElementsAre("a:-6"));
}

TEST_F(DispatcherTest, NothingIsSentInTheFirstSecondOfAConnection) {
    dispatcher.MuxLost();
    dispatcher.MuxConnected();
    Ask(12, "a");
    EXPECT_THAT(ports.toMux, IsEmpty());
    EXPECT_EQ(dispatcher.NextTime(), ports.now + seconds(1));
    ports.now += seconds(1);
    dispatcher.Advance();
    EXPECT_EQ(ports.toMux.size(), 1U);
}

TEST_F(DispatcherTest, ADroppedRequestIsNotSentAfterItsClientHasGone) {
    Ask(10, "a");
    dispatcher.Disconnected(reception);
    TakeAudited();
    EXPECT_THAT(ports.toMux, IsEmpty());
    EXPECT_THAT(ports.answers, IsEmpty());
}

TEST_F(DispatcherTest, EqualIdentifiersGetTheirOwnAnswers) {
    const ConnectionNumber other = dispatcher.Connected({"reception", "192.0.2.2"});
    Ask(12, "same");
    dispatcher.Received(other, Text(12, "same"));
    dispatcher.MuxSent(Ack(ports.toMux.at(0).id));
    dispatcher.MuxSent(Ack(ports.toMux.at(1).id));
    EXPECT_THAT(ports.answers, ElementsAre(std::pair(reception, Ack("same")), std::pair(other, Ack("same"))));
}

TEST_F(DispatcherTest, ALateAnswerEndsNothing) {
    Ask(12, "old");
    ports.now += seconds(15);
    dispatcher.Advance();
    EXPECT_THAT(Answers(), ElementsAre("old:-4"));
    Ask(12, "new");
    dispatcher.MuxSent(Ack(ports.toMux.at(0).id));
    EXPECT_THAT(Answers(), IsEmpty());
    ports.now += seconds(15);
    dispatcher.Advance();
    EXPECT_THAT(Answers(), ElementsAre("new:-4"));
}

TEST_F(DispatcherTest, WithTheMuxGoneTheSentEndAndTheWaitingHaveTheirTime) {
    Ask(12, "sent");
    Ask(12, "waiting");
    dispatcher.MuxLost();
    EXPECT_THAT(Answers(), ElementsAre("sent:-4"));
    ports.now += seconds(5);
    dispatcher.Advance();
    EXPECT_THAT(Answers(), ElementsAre("waiting:-5"));
}

TEST_F(DispatcherTest, EveryRequestIsAnsweredWhenTheProxyEnds) {
    Ask(12, "sent");
    Ask(12, "waiting");
    Ask(10, "audited");
    dispatcher.EndAll();
    EXPECT_THAT(Answers(), ElementsAre("sent:-4", "waiting:-3", "audited:-3"));
    TakeAudited();
    EXPECT_EQ(ports.toMux.size(), 1U);
    Ask(12, "late");
    EXPECT_THAT(Answers(), ElementsAre("late:-3"));
}

TEST_F(DispatcherTest, OneClientHasRoomForSoManyRequestsHoweverItConnects) {
    const ConnectionNumber other = dispatcher.Connected({"reception", "192.0.2.2"});
    for (int i = 0; i < 200; ++i) {
        Ask(10, "a");
        dispatcher.Received(other, Text(10, "a"));
    }
    EXPECT_EQ(Answers(), std::vector<std::string>(400 - 256, "a:-3"));
}

TEST_F(DispatcherTest, OneClientHasRoomForSoManyBytes) {
    const std::string longId(60000, 'x');
    for (int i = 0; i < 40; ++i) {
        Ask(10, longId);
    }
    EXPECT_EQ(Answers(), std::vector<std::string>(40 - 34, longId + ":-3"));
}

TEST_F(DispatcherTest, ADiskThatHangsKeepsNobodyWaiting) {
    Ask(10, "a");
    EXPECT_EQ(dispatcher.NextTime(), ports.now + seconds(5));
    ports.now += seconds(5);
    dispatcher.Advance();
    EXPECT_THAT(Answers(), ElementsAre("a:-6"));
    TakeAudited();
    EXPECT_THAT(ports.toMux, IsEmpty());
}

TEST_F(DispatcherTest, WhatWaitsLosesItsRightsToo) {
    Ask(12, "sent");
    Ask(12, "waiting");
    Ask(10, "audited");
    dispatcher.SetRights(std::make_shared<const Rights>(std::vector<Rule>{}));
    EXPECT_THAT(Answers(), ElementsAre("waiting:-1", "audited:-1"));
    dispatcher.MuxSent(Ack(ports.toMux.at(0).id));
    EXPECT_THAT(Answers(), ElementsAre("sent:0"));
    EXPECT_EQ(ports.toMux.size(), 1U);
}

TEST_F(DispatcherTest, EventsGoToThoseWhoMaySeeThem) {
    dispatcher.Connected({"stranger", "192.0.2.3"});
    dispatcher.Connected({"reception", "mqtt", false});
    const std::string event =
        R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,"timestamp":"1:2:3 4-5-2026","RFIDData":"04A1"}})";
    dispatcher.MuxSent(event);
    EXPECT_THAT(ports.answers, ElementsAre(std::pair(reception, event)));
}

TEST_F(DispatcherTest, EachTakenRequestEndsOnceForThoseWhoFollow) {
    dispatcher.Received(reception, "none");
    Ask(12, "a");
    dispatcher.MuxSent(Ack(ports.toMux.at(0).id));
    Ask(12, "b");
    dispatcher.MuxLost();
    EXPECT_THAT(ports.news, ElementsAre("taken 1 reception", "ended 1 reception ack", "taken 2 reception",
                                        "ended 2 reception no-answer"));
}

TEST_F(DispatcherTest, EventsComeWithTheirCardsButWithoutPins) {
    const auto event = [](int code, const char* data) {
        return R"({"Timestamp":1700000000,"MessageID":"lockEventMessage-1700000000","MessageCode":)" +
               std::to_string(code) + R"(,"Data":{"gatewayID":1,"lockID":5,"timestamp":"22:13:20 14-11-2023",)" +
               R"("RFIDData":")" + data + R"("}})";
    };
    dispatcher.MuxSent(event(51, "04A1B2C3D4"));
    dispatcher.MuxSent(event(60, "31323334"));
    EXPECT_THAT(ports.news, ElementsAre("card 04A1B2C3D4", "pin "));
}

TEST_F(DispatcherTest, NamesGatewaysThatDoNotAnswer) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(dispatcher.SilentGateways(), IsEmpty());
        Ask(12, "a");
        ports.now += seconds(15);
        dispatcher.Advance();
    }
    EXPECT_THAT(dispatcher.SilentGateways(), ElementsAre(1));
}

TEST_F(DispatcherTest, TheProxyItselfMayAskAndItsQuestionsStayWhenRightsChange) {
    EXPECT_TRUE(dispatcher.IsFree(9));
    const ConnectionNumber itself = dispatcher.Connected({"", "status-round", false});
    dispatcher.Received(itself, Text(12, "first", 9));
    dispatcher.Received(itself, Text(12, "second", 9));
    EXPECT_FALSE(dispatcher.IsFree(9));
    EXPECT_THAT(dispatcher.QueueLengths(), ElementsAre(std::pair(9, 2)));
    dispatcher.SetRights(std::make_shared<const Rights>(std::vector<Rule>{}));
    dispatcher.MuxSent(
        R"({"Timestamp":1,"MessageID":")" + ports.toMux.at(0).id +
        R"(","MessageCode":0,"Data":{"BatteryStatus":3,"QoS":2,"MechanicalActive":false,"BatteryWarningLevel":true,"BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":true}})");
    EXPECT_THAT(Answers(), ElementsAre("first:0"));
    EXPECT_THAT(ports.statuses, ElementsAre(std::pair(5, 3)));
    EXPECT_EQ(ports.toMux.size(), 2U);
}

}  // namespace
}  // namespace MuxProxy
