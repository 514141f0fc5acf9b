#include "tools/client/Message.h"

#include <gtest/gtest.h>

#include "tools/client/Errors.h"

namespace MuxClient {
namespace {

TEST(MessageTest, OfAnOperationIsAnAck) {
    const std::string text =
        R"({"Timestamp":1700000000,"MessageID":"a1","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})";
    const Message message = ParseMessage(text);
    EXPECT_EQ(message.timestamp, 1700000000);
    EXPECT_EQ(message.id, "a1");
    EXPECT_EQ(message.code, MessageCode::kAck);
    EXPECT_EQ(message.text, text);
    EXPECT_TRUE(message.IsAck());
    EXPECT_FALSE(message.IsEvent());
    EXPECT_FALSE(message.refusal || message.status || message.event);
}

TEST(MessageTest, OfARefusalSaysWhy) {
    const Message message = ParseMessage(
        R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":11,"Message":"Setup number mismatch."}})");
    EXPECT_FALSE(message.IsAck());
    ASSERT_TRUE(message.refusal);
    EXPECT_EQ(message.refusal->errorCode, 11);
    EXPECT_EQ(message.refusal->message, "Setup number mismatch.");
}

TEST(MessageTest, OfAStatusHasItsSevenValues) {
    const Message message = ParseMessage(
        R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"BatteryStatus":3,"QoS":2,"MechanicalActive":true,)"
        R"("BatteryWarningLevel":false,"BatteryAlarmLevel":true,"ScandinavianFireMode":false,"ReaderConnected":true}})");
    ASSERT_TRUE(message.status);
    EXPECT_EQ(message.status->batteryStatus, 3);
    EXPECT_EQ(message.status->qualityOfService, 2);
    EXPECT_TRUE(message.status->mechanicalActive);
    EXPECT_FALSE(message.status->batteryWarningLevel);
    EXPECT_TRUE(message.status->batteryAlarmLevel);
    EXPECT_FALSE(message.status->scandinavianFireMode);
    EXPECT_TRUE(message.status->readerConnected);
}

TEST(MessageTest, OfAStatusTellsTheOtherFlagsApart) {
    const Message message = ParseMessage(
        R"({"MessageCode":0,"Data":{"BatteryStatus":0,"QoS":0,"MechanicalActive":false,"BatteryWarningLevel":true,)"
        R"("BatteryAlarmLevel":false,"ScandinavianFireMode":true,"ReaderConnected":false}})");
    ASSERT_TRUE(message.status);
    EXPECT_TRUE(message.status->batteryWarningLevel);
    EXPECT_TRUE(message.status->scandinavianFireMode);
    EXPECT_FALSE(message.status->mechanicalActive || message.status->batteryAlarmLevel ||
                 message.status->readerConnected);
}

TEST(MessageTest, OfAReaderIsAnEvent) {
    for (const char* const code : {"50", "51", "60"}) {
        const Message message = ParseMessage(
            R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":)" + std::string(code) +
            R"(,"Data":{"gatewayID":-7,"lockID":65535,"timestamp":"9:5:0 1-12-2026","RFIDData":"04A1B2C3"}})");
        EXPECT_EQ(static_cast<int>(message.code), std::stoi(code));
        EXPECT_TRUE(message.IsEvent());
        ASSERT_TRUE(message.event);
        EXPECT_EQ(message.event->gateway, -7);
        EXPECT_EQ(message.event->lock, 65535);
        EXPECT_EQ(message.event->time, "9:5:0 1-12-2026");
        EXPECT_EQ(message.event->data, "04A1B2C3");
    }
}

TEST(MessageTest, TakesDefaultsForWhatIsMissingOrOfAnotherType) {
    const Message message =
        ParseMessage(R"({"Timestamp":"x","MessageID":{},"MessageCode":1,"Data":{"ErrorCode":1e9}})");
    EXPECT_EQ(message.timestamp, 0);
    EXPECT_EQ(message.id, "");
    ASSERT_TRUE(message.refusal);
    EXPECT_EQ(message.refusal->errorCode, 0);
    EXPECT_EQ(message.refusal->message, "");
}

TEST(MessageTest, HasNothingFromDataThatIsNoObject) {
    for (const char* const data : {"null", "[]", "\"BatteryStatus\""}) {
        const Message message = ParseMessage(R"({"MessageCode":1,"Data":)" + std::string(data) + "}");
        EXPECT_FALSE(message.refusal) << data;
    }
    EXPECT_FALSE(ParseMessage(R"({"MessageCode":51})").event);
}

TEST(MessageTest, IsNotReadFromAnythingElse) {
    for (const char* const text :
         {"{}", R"({"MessageCode":null})", R"({"MessageCode":"0"})", R"({"MessageCode":2147483648})",
          R"({"MessageCode":0.5})", R"({"MessageCode":0)", R"({"MessageCode":0,})", "[]", ""}) {
        EXPECT_THROW(ParseMessage(text), ProtocolError) << text;
    }
    EXPECT_THROW(ParseMessage(std::string("{\"MessageCode\":0}\0", 18)), ProtocolError);
}

TEST(MessageTest, MayNestAsDeepAsItLikes) {
    const std::string deep(200000, '[');
    EXPECT_THROW(ParseMessage(R"({"MessageCode":0,"Data":)" + deep), ProtocolError);
}

}  // namespace
}  // namespace MuxClient
