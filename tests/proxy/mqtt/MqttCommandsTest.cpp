#include "proxy/mqtt/MqttCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "proxy/requests/RequestKinds.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kTopic = "p/hall/gateway/1/lock/5/command/desk";
constexpr const char* kAck = R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})";

// The time of an answer is that of the clock.
std::string WithoutTime(const std::string& payload) {
    return std::regex_replace(payload, std::regex("\"time\":[0-9]{13},"), "");
}

struct Ports : CommandPorts {
    Time Now() const override { return now; }
    std::variant<CheckedCommand, RefusedCommand> Check(const CommandMessage& message) override {
        checked.push_back(std::to_string(message.lock.gateway) + " " + std::to_string(message.lock.lock) + " " +
                          message.client + " " + std::string(message.payload) +
                          (message.isRetained ? " retained" : ""));
        return check;
    }
    void Ask(ClientIdentity client, std::string_view text, Answered answered) override {
        asked.push_back(client.name + " " + client.address + (client.wantsEvents ? " events " : " ") +
                        std::string(text));
        answers.push_back(std::move(answered));
    }
    void AddRow(AuditRow row) override {
        rows.push_back(row.kind + " " + row.client + " " + row.address + " " + row.operation + " " +
                       (row.gateway ? std::to_string(*row.gateway) + "/" + std::to_string(*row.lock) : "nowhere") +
                       " " + row.result + " " + std::to_string(row.errorCode) + " " + row.remark);
    }
    void Post(OutboxMessage message) override {
        posted.push_back(message.topic + " " + WithoutTime(message.payload) + " " + message.correlationData);
    }
    void PublishOnce(BrokerMessage message) override {
        published.push_back(message.topic + " " + WithoutTime(message.payload) + " " + message.correlationData + " " +
                            std::to_string(message.qos));
    }

    Time now;
    std::variant<CheckedCommand, RefusedCommand> check =
        CheckedCommand{FindRequestKind(static_cast<int>(MuxClient::MessageCode::kLockOpen)), "a", "the text"};
    std::vector<std::string> checked;
    std::vector<std::string> asked;
    std::vector<Answered> answers;
    std::vector<std::string> rows;
    std::vector<std::string> posted;
    std::vector<std::string> published;
};

struct MqttCommandsTest : testing::Test {
    // Not before the time at which the bounds of all clients were full.
    MqttCommandsTest() { ports.now = std::chrono::steady_clock::now(); }

    void Send(const std::string& topic, const std::string& responseTopic = "", const std::string& correlation = "",
              bool isRetained = false) {
        commands.Received({topic, "payload", 1, isRetained, responseTopic, correlation});
    }

    Ports ports;
    MqttCommands commands{ports, Topics("p", "hall")};
};

TEST_F(MqttCommandsTest, ACommandIsAskedInItsClientsNameAndAnswered) {
    Send(kTopic, "p/hall/reply/desk/7", "c1");
    EXPECT_THAT(ports.checked, ElementsAre("1 5 desk payload"));
    ASSERT_THAT(ports.asked, ElementsAre("desk mqtt the text"));
    EXPECT_THAT(ports.posted, IsEmpty());
    ports.answers.at(0)(kAck);
    EXPECT_THAT(ports.posted,
                ElementsAre(R"(p/hall/reply/desk/7 {"operation":"open","gateway":1,"lock":5,"result":"ack",)"
                            R"("errorCode":0} c1)"));
    EXPECT_THAT(ports.rows, IsEmpty()) << "the dispatcher's";
}

TEST_F(MqttCommandsTest, WithoutAResponseTopicTheAnswerGoesToTheClients) {
    Send(kTopic);
    ports.answers.at(0)(R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":7,"Message":"No"}})");
    EXPECT_THAT(ports.posted,
                ElementsAre(R"(p/hall/reply/desk {"operation":"open","gateway":1,"lock":5,"result":"nack",)"
                            R"("errorCode":7,"text":"No"} )"));
}

TEST_F(MqttCommandsTest, ARefusalOfTheProxyHasItsName) {
    Send(kTopic);
    ports.answers.at(0)(NackText("a", Refusal::kNotAllowed));
    EXPECT_THAT(ports.posted,
                ElementsAre(R"(p/hall/reply/desk {"operation":"open","gateway":1,"lock":5,"result":"not-allowed",)"
                            R"("errorCode":-1,"text":"Not allowed"} )"));
}

TEST_F(MqttCommandsTest, AStatusIsInTheAnswer) {
    Send(kTopic);
    ports.answers.at(0)(
        R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"BatteryStatus":3,"QoS":3,"MechanicalActive":false,)"
        R"("BatteryWarningLevel":false,"BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":true}})");
    EXPECT_THAT(ports.posted,
                ElementsAre(HasSubstr(R"("status":{"battery":"full","capacity_at_least":95,"battery_warning":false,)"
                                      R"("battery_alarm":false,"mechanical_active":false,"fire_mode":false,)"
                                      R"("reader_connected":true}})")));
}

TEST_F(MqttCommandsTest, WhatTheCheckRefusesIsSaidAndWritten) {
    ports.check = RefusedCommand{Refusal::kNotFresh, "it is retained", nullptr};
    Send(kTopic, "", "c2", true);
    EXPECT_THAT(ports.checked, ElementsAre("1 5 desk payload retained"));
    EXPECT_THAT(ports.asked, IsEmpty());
    EXPECT_THAT(ports.rows, ElementsAre("request desk mqtt  1/5 not-fresh -7 it is retained"));
    EXPECT_THAT(ports.posted,
                ElementsAre(R"(p/hall/reply/desk {"gateway":1,"lock":5,"result":"not-fresh","errorCode":-7,)"
                            R"("text":"Not a fresh command: it is retained"} c2)"));
}

TEST_F(MqttCommandsTest, TheProxyPublishesNowhereElse) {
    Send(kTopic, "p/hall/status");
    EXPECT_THAT(ports.checked, IsEmpty());
    EXPECT_THAT(ports.rows,
                ElementsAre(HasSubstr("not-valid -2 the response topic must be p/hall/reply/desk or below it")));
    EXPECT_THAT(ports.posted, ElementsAre(HasSubstr("p/hall/reply/desk {")));
}

TEST_F(MqttCommandsTest, LongCorrelationDataIsNotKept) {
    Send(kTopic, "", std::string(257, 'x'));
    EXPECT_THAT(ports.checked, IsEmpty());
    EXPECT_THAT(ports.rows, ElementsAre(HasSubstr("not-valid -2 the correlation data is longer than 256 bytes")));
    EXPECT_THAT(ports.posted, ElementsAre(testing::EndsWith("} ")));
}

TEST_F(MqttCommandsTest, ATopicThatIsNotACommandsIsWritten) {
    Send("p/hall/gateway/1/lock/x/command/desk");
    EXPECT_THAT(ports.rows,
                ElementsAre("request  mqtt  nowhere not-valid -2 gateway and lock in the topic must be decimal "
                            "integers"));
    EXPECT_THAT(ports.posted, IsEmpty());
}

TEST_F(MqttCommandsTest, TooManyCommandsGetOneRowAndFillNoOutbox) {
    commands.SetClients({"desk", "other"});
    for (int i = 0; i < 180; ++i) {
        Send(kTopic, "", "c");
    }
    EXPECT_THAT(ports.asked, SizeIs(100));
    EXPECT_THAT(ports.rows, ElementsAre("request desk mqtt  1/5 not-sent -3 too many commands"));
    EXPECT_THAT(ports.posted, IsEmpty());
    ASSERT_THAT(ports.published, SizeIs(80));
    EXPECT_EQ(ports.published.front(), R"(p/hall/reply/desk {"gateway":1,"lock":5,"result":"not-sent","errorCode":-3,)"
                                       R"("text":"too many commands"} c 0)");
    Send("p/hall/gateway/1/lock/5/command/other");
    EXPECT_EQ(ports.asked.back(), "other mqtt the text") << "each client has its own account";
}

TEST_F(MqttCommandsTest, AMinuteLaterTooManyCommandsHaveAnotherRow) {
    for (int i = 0; i < 110; ++i) {
        Send(kTopic);
    }
    ports.now += std::chrono::minutes(1);
    for (int i = 0; i < 110; ++i) {
        Send(kTopic);
    }
    EXPECT_THAT(ports.asked, SizeIs(200)) << "a second gives a client's account back";
    EXPECT_THAT(ports.rows, ElementsAre(testing::EndsWith(" too many commands"),
                                        testing::EndsWith(" too many commands (10 since the last such row)")));
}

TEST_F(MqttCommandsTest, RefusedCommandsCostMore) {
    ports.check = RefusedCommand{Refusal::kNotSigned, "replayed", nullptr};
    for (int i = 0; i < 20; ++i) {
        Send(kTopic);
    }
    EXPECT_THAT(ports.posted, SizeIs(5));
    EXPECT_THAT(ports.published, SizeIs(15));
}

TEST_F(MqttCommandsTest, RefusalsOfManyClientsFillNeitherAuditNorOutbox) {
    ports.check = RefusedCommand{Refusal::kNotSigned, "replayed", nullptr};
    std::set<std::string> names;
    for (int i = 0; i < 30; ++i) {
        names.insert("c" + std::to_string(i));
    }
    commands.SetClients(names);
    for (int round = 0; round < 4; ++round) {
        for (const std::string& name : names) {
            Send("p/hall/gateway/1/lock/5/command/" + name);
        }
    }
    EXPECT_THAT(ports.posted, SizeIs(10));
    EXPECT_THAT(ports.rows, SizeIs(11));
    EXPECT_THAT(ports.rows, testing::Contains("request  mqtt  nowhere not-sent -3 too many refused commands from the "
                                              "broker"));
    EXPECT_THAT(ports.published, testing::Contains(HasSubstr(R"("result":"not-signed","errorCode":-8)")));
}

TEST_F(MqttCommandsTest, ManyClientsTogetherHaveABound) {
    std::set<std::string> names;
    for (int i = 0; i < 2000; ++i) {
        names.insert("c" + std::to_string(i));
    }
    commands.SetClients(names);
    for (const std::string& name : names) {
        Send("p/hall/gateway/1/lock/5/command/" + name);
    }
    EXPECT_THAT(ports.asked, SizeIs(200));
    EXPECT_THAT(ports.rows, ElementsAre("request  mqtt  nowhere not-sent -3 too many commands from the broker"));
    EXPECT_THAT(ports.published, IsEmpty());
}

TEST_F(MqttCommandsTest, WhatTheDispatcherRefusesCostsAsMuch) {
    for (std::size_t i = 0; i < 20; ++i) {
        Send(kTopic);
        if (ports.answers.size() == i + 1) {
            ports.answers.back()(NackText("a", Refusal::kNotAllowed));
        }
    }
    EXPECT_THAT(ports.asked, SizeIs(5));
}

TEST_F(MqttCommandsTest, NamesWithoutRightsShareOneAccountAndStarveNobody) {
    commands.SetClients({"desk"});
    for (std::size_t i = 0; i < 1000; ++i) {
        Send("p/hall/gateway/1/lock/5/command/c" + std::to_string(i));
    }
    EXPECT_THAT(ports.asked, SizeIs(100));
    EXPECT_THAT(ports.rows, SizeIs(1));
    Send(kTopic);
    EXPECT_EQ(ports.asked.back(), "desk mqtt the text");
}

}  // namespace
}  // namespace MuxProxy
