#include "benchmarks/load/ReceivedMessage.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Load {
namespace {

TEST(ReceivedMessageTest, ReadsWhoseAnswerARefusalIs) {
    const ReceivedMessage message = ParseReceived(
        R"({"Timestamp":1,"MessageID":"a-1","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})");
    EXPECT_EQ(message.code, kNack);
    EXPECT_EQ(message.id, "a-1");
    EXPECT_EQ(message.card, "");
}

TEST(ReceivedMessageTest, ReadsTheCardOfAnEvent) {
    const ReceivedMessage message =
        ParseReceived(R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":51,)"
                      R"("Data":{"gatewayID":1,"lockID":5,"timestamp":"1","RFIDData":"0000002A"}})");
    EXPECT_EQ(message.code, kCardEvent);
    EXPECT_EQ(message.card, "0000002A");
}

TEST(ReceivedMessageTest, AnAnswerMayHaveNoData) {
    EXPECT_EQ(ParseReceived(R"({"MessageID":"a","MessageCode":0,"Data":null})").code, kAck);
}

TEST(ReceivedMessageTest, WhatIsNoMessageIsRefused) {
    for (const char* const text : {"{", "[]", "{}", R"({"MessageCode":"1"})"}) {
        EXPECT_THROW(ParseReceived(text), std::runtime_error) << text;
    }
}

}  // namespace
}  // namespace Load
