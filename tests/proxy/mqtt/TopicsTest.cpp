#include "proxy/mqtt/Topics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

const Topics kHall("dw-hal-mux", "hall");

std::string ReadText(const std::string& topic, const Topics& topics = kHall) {
    const auto read = topics.ReadCommand(topic);
    if (const auto* const command = std::get_if<CommandTopic>(&read)) {
        return std::to_string(command->lock.gateway) + " " + std::to_string(command->lock.lock) + " " + command->client;
    }
    return std::get<InvalidTopic>(read).reason;
}

TEST(TopicsTest, AreThoseOfTheSite) {
    EXPECT_EQ(kHall.Status(), "dw-hal-mux/hall/status");
    EXPECT_EQ(kHall.Event({1, 70000}), "dw-hal-mux/hall/gateway/1/lock/70000/event");
    EXPECT_EQ(kHall.Result({1, 5}), "dw-hal-mux/hall/gateway/1/lock/5/result");
    EXPECT_EQ(kHall.State({-1, 5}), "dw-hal-mux/hall/gateway/-1/lock/5/state");
    EXPECT_EQ(kHall.Command({1, 5}, "desk"), "dw-hal-mux/hall/gateway/1/lock/5/command/desk");
    EXPECT_EQ(kHall.Commands(), "dw-hal-mux/hall/gateway/+/lock/+/command/+");
    EXPECT_EQ(kHall.Reply("desk"), "dw-hal-mux/hall/reply/desk");
    EXPECT_EQ(Topics("a/b", "hall").ClientId(), "a-b-hall");
}

TEST(TopicsTest, ACommandNamesItsLockAndItsClient) {
    EXPECT_EQ(ReadText("dw-hal-mux/hall/gateway/1/lock/70000/command/desk"), "1 70000 desk");
    EXPECT_EQ(ReadText("dw-hal-mux/hall/gateway/-2147483648/lock/0/command/desk"), "-2147483648 0 desk");
    EXPECT_EQ(ReadText("a/b/hall/gateway/1/lock/5/command/x", Topics("a/b", "hall")), "1 5 x");
}

TEST(TopicsTest, OtherTopicsAreNoCommands) {
    for (const char* const topic :
         {"dw-hal-mux/hall/gateway/1/lock/5/event", "dw-hal-mux/hall/gateway/1/lock/5/command",
          "dw-hal-mux/hall/gateway/1/lock/5/command/desk/more", "dw-hal-mux/hall/gateway/1/door/5/command/desk", ""}) {
        EXPECT_THAT(ReadText(topic), testing::StartsWith("not a topic of ")) << topic;
    }
    EXPECT_EQ(ReadText("dw-hal-mux/hall2/gateway/1/lock/5/command/desk"), "not a topic of this site");
}

TEST(TopicsTest, ALockHasOneTopicOnly) {
    for (const char* const number : {"01", "+1", " 1", "1 ", "-0", "", "2147483648", "1.0", "0x1"}) {
        EXPECT_EQ(ReadText(std::string("dw-hal-mux/hall/gateway/1/lock/") + number + "/command/desk"),
                  "gateway and lock in the topic must be decimal integers")
            << number;
    }
}

TEST(TopicsTest, ClientsHaveNamesOfUtf8) {
    const std::string start = "dw-hal-mux/hall/gateway/1/lock/5/command/";
    EXPECT_EQ(ReadText(start + "K\xC3\xBC"
                               "che 2"),
              "1 5 K\xC3\xBC"
              "che 2");
    EXPECT_EQ(ReadText(start + std::string(64, 'x')), "1 5 " + std::string(64, 'x'));
    const std::string reason = "the client's name in the topic must have 1 to 64 bytes of printable UTF-8";
    EXPECT_EQ(ReadText(start), reason);
    EXPECT_EQ(ReadText(start + std::string(65, 'x')), reason);
    EXPECT_EQ(ReadText(start + "a+"), reason);
    EXPECT_EQ(ReadText(start + "#"), reason);
    EXPECT_EQ(ReadText(start + "\xFF"), reason);
    EXPECT_EQ(ReadText(start + std::string("a\0b", 3)), reason);
    EXPECT_EQ(ReadText(start + "alice\x01"), reason);
    EXPECT_EQ(ReadText(start + "alice\x7F"), reason);
}

TEST(TopicsTest, AnswersGoBelowTheClientsOwnName) {
    EXPECT_TRUE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/desk"));
    EXPECT_TRUE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/desk/1/2"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/desk2"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/other"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/status"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/desk/+"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", "dw-hal-mux/hall/reply/desk/" + std::string(256, 'x')));
}

TEST(TopicsTest, ClientsChooseNoTopicThatABrokerRefuses) {
    const std::string start = "dw-hal-mux/hall/reply/desk";
    EXPECT_TRUE(kHall.IsReplyTo("desk", start + "/1/2/3/4/5/6/7/8"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", start + "/1/2/3/4/5/6/7/8/9"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", start + "/"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", start + "//1"));
    EXPECT_FALSE(kHall.IsReplyTo("desk", start + "/\x01"));
}

}  // namespace
}  // namespace MuxProxy
