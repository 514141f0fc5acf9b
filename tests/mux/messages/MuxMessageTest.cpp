#include "mux/messages/MuxMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "mux/messages/AnswerPayloads.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::ParsedJson;

namespace Mux {
namespace {

MuxMessage Nack(std::int32_t timestamp = 1700000000) {
    return {timestamp, "abc", MUX_MESSAGE_NACK, std::make_unique<MuxNackMessagePayload>(8, "No route")};
}

std::string WithMessageID(std::string messageID) {
    return MuxMessage(1, std::move(messageID), MUX_MESSAGE_ACK, {}).ToJSON();
}

TEST(MuxMessage, HoldsItsFieldsAndItsPayload) {
    auto payload = std::make_unique<MuxLockOpenMessagePayload>(1, 2);
    auto* expected = payload.get();
    const MuxMessage message(7, "id", MUX_MESSAGE_LOCK_OPEN, std::move(payload));
    EXPECT_EQ(message.Timestamp(), 7);
    EXPECT_EQ(message.MessageID(), "id");
    EXPECT_EQ(message.MessageCode(), 10);
    EXPECT_EQ(message.Payload(), expected);
    EXPECT_EQ(message.NackPayload(), nullptr);
}

TEST(MuxMessage, HoldsTheNackPayloadApartFromTheOthers) {
    auto payload = std::make_unique<MuxNackMessagePayload>(1, "m");
    auto* expected = payload.get();
    const MuxMessage message(7, "id", MUX_MESSAGE_NACK, std::move(payload));
    EXPECT_EQ(message.NackPayload(), expected);
    EXPECT_EQ(message.Payload(), nullptr);
}

TEST(MuxMessage, HasNoPayloadWhenItIsGivenNoneOrANullOne) {
    const MuxMessage none(7, "id", MUX_MESSAGE_ACK, {});
    EXPECT_EQ(none.Payload(), nullptr);
    EXPECT_EQ(none.NackPayload(), nullptr);
    const MuxMessage null(7, "id", MUX_MESSAGE_ACK, std::unique_ptr<MuxMessagePayloadBase>());
    EXPECT_EQ(null.Payload(), nullptr);
    const MuxMessage nullNack(7, "id", MUX_MESSAGE_NACK, std::unique_ptr<MuxNackMessagePayload>());
    EXPECT_EQ(nullNack.NackPayload(), nullptr);
}

TEST(MuxMessage, DeletesItsPayload) {
    struct Watched : MuxMessagePayloadBase {
        explicit Watched(bool& flag) : deleted(flag) {}
        ~Watched() override { deleted = true; }
        bool& deleted;
    };
    bool deleted = false;
    {
        const MuxMessage message(7, "id", MUX_MESSAGE_ACK, std::make_unique<Watched>(deleted));
        EXPECT_FALSE(deleted);
    }
    EXPECT_TRUE(deleted);
}

TEST(MuxMessageToJSON, WritesTimestampIdCodeAndNackDataInExactlyThisOrder) {
    EXPECT_EQ(
        Nack().ToJSON(),
        R"({"Timestamp":1700000000,"MessageID":"abc","MessageCode":1,"Data":{"ErrorCode":8,"Message":"No route"}})");
}

TEST(MuxMessageToJSON, WritesAnAckWithoutDataAsAnEmptyObject) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>());
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})");
}

TEST(MuxMessageToJSON, NestsTheDataOfAnAckInsideData) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(ParsedJson(R"({"x":[1]})")));
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Data":{"x":[1]}}})");
}

TEST(MuxMessageToJSON, MovesTheDataOfAnAnswerOutSoASecondTextHasNone) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(ParsedJson("[1]")));
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Data":[1]}})");
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})");
}

TEST(MuxMessageToJSON, WritesALockOperationResponse) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxLockOperationResponsePayload>(true, 0));
    EXPECT_EQ(message.ToJSON(),
              R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})");
}

TEST(MuxMessageToJSON, WritesALockStatus) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK,
                       std::make_unique<MuxGetLockStatusResponsePayload>(2, 3, true, true, true, false, false));
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"BatteryStatus":2,"QoS":3,)"
                                R"("MechanicalActive":true,"BatteryWarningLevel":true,"BatteryAlarmLevel":true,)"
                                R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
}

class MuxMessageEventToJSON : public testing::TestWithParam<MuxMessageCodes> {};

TEST_P(MuxMessageEventToJSON, WritesACardEvent) {
    MuxMessage message(1, "lockEventMessage-1", GetParam(),
                       std::make_unique<MuxCardEventPayload>(1, 65535, "9:5:3 1-2-2024", "04A1"));
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":)" +
                                    std::to_string(GetParam()) +
                                    R"(,"Data":{"gatewayID":1,"lockID":65535,"timestamp":"9:5:3 1-2-2024",)"
                                    R"("RFIDData":"04A1"}})");
}

INSTANTIATE_TEST_SUITE_P(EventCodes, MuxMessageEventToJSON,
                         testing::Values(MUX_MESSAGE_ACCESS_ALLOWED, MUX_MESSAGE_EVENT_CARD_READER,
                                         MUX_MESSAGE_EVENT_INFO));

TEST(MuxMessageToJSON, WritesDataNullForAnAnswerWhosePayloadIsMissing) {
    EXPECT_EQ(MuxMessage(1, "a", MUX_MESSAGE_ACK, {}).ToJSON(),
              R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":null})");
    EXPECT_EQ(MuxMessage(1, "a", MUX_MESSAGE_NACK, {}).ToJSON(),
              R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":null})");
}

TEST(MuxMessageToJSON, WritesDataNullForAPayloadThatHasNoObject) {
    MuxMessage message(1, "a", 33, std::make_unique<MuxMessagePayloadBase>());
    EXPECT_EQ(message.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":33,"Data":null})");
}

TEST(MuxMessageToJSON, TakesAPayloadOfTheWrongKindForNone) {
    MuxMessage plainNack(1, "a", MUX_MESSAGE_NACK, std::make_unique<MuxAckMessagePayload>());
    EXPECT_EQ(plainNack.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":null})");
    MuxMessage nackAck(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxNackMessagePayload>(1, "m"));
    EXPECT_EQ(nackAck.ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":null})");
}

TEST(MuxMessageToJSON, WritesTimestampsAtTheLimitsOf32BitsWithTheirSign) {
    EXPECT_THAT(Nack(std::numeric_limits<std::int32_t>::min()).ToJSON(),
                testing::StartsWith(R"({"Timestamp":-2147483648,"MessageID")"));
    EXPECT_THAT(Nack(std::numeric_limits<std::int32_t>::max()).ToJSON(),
                testing::StartsWith(R"({"Timestamp":2147483647,"MessageID")"));
    EXPECT_THAT(Nack(-1).ToJSON(), testing::StartsWith(R"({"Timestamp":-1,"MessageID")"));
    EXPECT_THAT(Nack(0).ToJSON(), testing::StartsWith(R"({"Timestamp":0,"MessageID")"));
}

TEST(MuxMessageToJSON, WritesCodesAtTheLimitsOf32Bits) {
    EXPECT_EQ(MuxMessage(0, "", std::numeric_limits<std::int32_t>::min(), {}).ToJSON(),
              R"({"Timestamp":0,"MessageID":"","MessageCode":-2147483648,"Data":null})");
    EXPECT_EQ(MuxMessage(0, "", std::numeric_limits<std::int32_t>::max(), {}).ToJSON(),
              R"({"Timestamp":0,"MessageID":"","MessageCode":2147483647,"Data":null})");
}

TEST(MuxMessageToJSON, EscapesStringsTheStandardWay) {
    EXPECT_EQ(WithMessageID("q\" b\\ s/ \b\f\n\r\t"),
              R"({"Timestamp":1,"MessageID":"q\" b\\ s/ \b\f\n\r\t","MessageCode":0,"Data":null})");
    EXPECT_EQ(WithMessageID(std::string("\0\x01\x0B\x0E\x1F", 5)),
              R"({"Timestamp":1,"MessageID":"\u0000\u0001\u000B\u000E\u001F","MessageCode":0,"Data":null})");
    EXPECT_EQ(WithMessageID("\x7F\xC3\xA9\xF0\x9F\x94\x91"),
              "{\"Timestamp\":1,\"MessageID\":\"\x7F\xC3\xA9\xF0\x9F\x94\x91\",\"MessageCode\":0,\"Data\":null}");
}

TEST(MuxMessageToJSON, PassesBytesOnThatAreNoUtf8) {
    EXPECT_EQ(WithMessageID("\xFF\xC0\x80\xED\xA0\x80\xC3"),
              "{\"Timestamp\":1,\"MessageID\":\"\xFF\xC0\x80\xED\xA0\x80\xC3\",\"MessageCode\":0,\"Data\":null}");
}

TEST(MuxMessageToJSON, GivesTheSameTextInAPoolOfTheCaller) {
    rapidjson::MemoryPoolAllocator<> pool(65536);
    MuxMessage message = Nack();
    const std::string text = message.ToJSON();
    EXPECT_EQ(message.ToJSON(pool), text);
    EXPECT_GT(pool.Size(), 0U);
    pool.Clear();
    EXPECT_EQ(message.ToJSON(pool), text);
}

TEST(MuxMessageToJSON, LeavesAPayloadUsableWhenThePoolIsCleared) {
    rapidjson::MemoryPoolAllocator<> pool;
    MuxMessage message(1, "a", MUX_MESSAGE_ACK,
                       std::make_unique<MuxAckMessagePayload>(ParsedJson(R"(["long enough"])")));
    EXPECT_EQ(message.ToJSON(pool),
              R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Data":["long enough"]}})");
    pool.Clear();
    EXPECT_EQ(message.ToJSON(pool), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})");
}

TEST(MuxMessageToJSON, IsEmptyWhenThePayloadHoldsANumberThatJsonCannotExpress) {
    const rapidjson::Value notANumber(std::numeric_limits<double>::quiet_NaN());
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(notANumber));
    EXPECT_EQ(message.ToJSON(), "");
}

TEST(MuxMessageToJSONLog, SaysThatAnAckIsConvertedWithABlankInFront) {
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>());
    const CapturedLog log;
    message.ToJSON();
    ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
    EXPECT_EQ(log.Count(plog::verbose, " Converting ACK Message."), 1) << log.Text();
}

TEST(MuxMessageToJSONLog, SaysThatANackIsConverted) {
    MuxMessage message = Nack();
    const CapturedLog log;
    message.ToJSON();
    ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
    EXPECT_EQ(log.Count(plog::verbose, "Converting NACK Message."), 1) << log.Text();
}

TEST(MuxMessageToJSONLog, NamesTheCodeOfAnyOtherMessage) {
    MuxMessage message(1, "a", MUX_MESSAGE_LOCK_OPEN, std::make_unique<MuxLockOpenMessagePayload>(1, 2));
    const CapturedLog log;
    message.ToJSON();
    ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
    EXPECT_EQ(log.Count(plog::verbose, "Current Message Code: 10"), 1) << log.Text();
}

TEST(MuxMessageToJSONLog, WarnsWhenThereIsNoPayload) {
    for (const std::int32_t code : {0, 1, 20, -5}) {
        const CapturedLog log;
        MuxMessage(1, "a", code, {}).ToJSON();
        ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
        EXPECT_EQ(log.Count(plog::warning, "Current Message data is NULL. MessageCode: " + std::to_string(code)), 1)
            << log.Text();
    }
}

TEST(MuxMessageToJSONLog, BeginsWithTheSignatureOfTheFunctionThatWasCalled) {
    const CapturedLog log;
    Nack().ToJSON();
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines().front().second, "std::string Mux::MuxMessage::ToJSON() Converting NACK Message.");
}

}  // namespace
}  // namespace Mux
