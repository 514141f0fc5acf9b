#include "mux/messages/MuxMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "mux/messages/AnswerPayloads.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"
#include "tests/mux/messages/Limits.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::kLeast;
using Testing::kMost;
using Testing::ParsedJson;

namespace Mux {
namespace {

MuxMessage Nack() {
    return {1700000000, "abc", MUX_MESSAGE_NACK, std::make_unique<MuxNackMessagePayload>(8, "No")};
}

MuxMessage Ack(const rapidjson::Value& data = rapidjson::Value()) {
    return {1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(data)};
}

std::string WithMessageID(std::string messageID) {
    return MuxMessage(1, std::move(messageID), MUX_MESSAGE_ACK, {}).ToJSON();
}

TEST(MuxMessage, HoldsTheNackPayloadApartFromTheOthers) {
    const MuxMessage nack = Nack();
    EXPECT_NE(nack.NackPayload(), nullptr);
    EXPECT_EQ(nack.Payload(), nullptr);
    const MuxMessage ack = Ack();
    EXPECT_EQ(ack.NackPayload(), nullptr);
    EXPECT_NE(ack.Payload(), nullptr);
}

TEST(MuxMessage, HasNoPayloadWhenItIsGivenNoneOrANullOne) {
    for (const MuxMessage& none : {MuxMessage(7, "id", MUX_MESSAGE_ACK, {}),
                                   MuxMessage(7, "id", MUX_MESSAGE_ACK, std::unique_ptr<MuxMessagePayloadBase>()),
                                   MuxMessage(7, "id", MUX_MESSAGE_NACK, std::unique_ptr<MuxNackMessagePayload>())}) {
        EXPECT_EQ(none.Payload(), nullptr);
        EXPECT_EQ(none.NackPayload(), nullptr);
    }
}

TEST(MuxMessageToJSON, WritesTimestampIdCodeAndDataInExactlyThisOrder) {
    EXPECT_EQ(Nack().ToJSON(),
              R"({"Timestamp":1700000000,"MessageID":"abc","MessageCode":1,"Data":{"ErrorCode":8,"Message":"No"}})");
    EXPECT_EQ(Ack().ToJSON(), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})");
    EXPECT_EQ(Ack(ParsedJson(R"({"x":[1]})")).ToJSON(),
              R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Data":{"x":[1]}}})");
    EXPECT_EQ(MuxMessage(1, "e", 60, std::make_unique<MuxLockOpenMessagePayload>(1, 2)).ToJSON(),
              R"({"Timestamp":1,"MessageID":"e","MessageCode":60,"Data":{"gatewayID":1,"lockID":2}})");
}

TEST(MuxMessageToJSON, WritesNumbersAtTheLimitsOf32Bits) {
    EXPECT_EQ(MuxMessage(kLeast, "", kMost, {}).ToJSON(),
              R"({"Timestamp":-2147483648,"MessageID":"","MessageCode":2147483647,"Data":null})");
    EXPECT_EQ(MuxMessage(kMost, "", kLeast, {}).ToJSON(),
              R"({"Timestamp":2147483647,"MessageID":"","MessageCode":-2147483648,"Data":null})");
}

TEST(MuxMessageToJSON, WritesDataNullForAPayloadThatIsMissingOrOfTheWrongKind) {
    const auto text = [](const char* code) {
        return R"({"Timestamp":1,"MessageID":"a","MessageCode":)" + std::string(code) + R"(,"Data":null})";
    };
    EXPECT_EQ(MuxMessage(1, "a", MUX_MESSAGE_NACK, {}).ToJSON(), text("1"));
    EXPECT_EQ(MuxMessage(1, "a", 33, std::make_unique<MuxMessagePayloadBase>()).ToJSON(), text("33"));
    EXPECT_EQ(MuxMessage(1, "a", MUX_MESSAGE_NACK, std::make_unique<MuxAckMessagePayload>()).ToJSON(), text("1"));
    EXPECT_EQ(MuxMessage(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxNackMessagePayload>(1, "m")).ToJSON(), text("0"));
}

TEST(MuxMessageToJSON, EscapesWhatMustBeAndPassesOtherBytesOn) {
    const std::pair<std::string, std::string> rows[] = {
        {"q\" b\\ s/ \b\f\n\r\t", R"(q\" b\\ s/ \b\f\n\r\t)"},
        {std::string("\0\x01\x0B\x0E\x1F", 5), R"(\u0000\u0001\u000B\u000E\u001F)"},
        {"\x7F\xC3\xA9\xF0\x9F\x94\x91", "\x7F\xC3\xA9\xF0\x9F\x94\x91"},
        {"\xFF\xC0\x80\xED\xA0\x80\xC3", "\xFF\xC0\x80\xED\xA0\x80\xC3"},
    };
    for (const auto& [messageID, written] : rows) {
        EXPECT_EQ(WithMessageID(messageID),
                  R"({"Timestamp":1,"MessageID":")" + written + R"(","MessageCode":0,"Data":null})");
    }
}

TEST(MuxMessageToJSON, GivesTheSameTextInAPoolOfTheCallerThatMayBeCleared) {
    rapidjson::MemoryPoolAllocator<> pool(65536);
    MuxMessage message = Nack();
    const std::string text = message.ToJSON();
    EXPECT_EQ(message.ToJSON(pool), text);
    EXPECT_GT(pool.Size(), 0U);
    pool.Clear();
    EXPECT_EQ(message.ToJSON(pool), text);
    MuxMessage ack = Ack(ParsedJson(R"(["long enough"])"));
    EXPECT_EQ(ack.ToJSON(pool), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Data":["long enough"]}})");
    pool.Clear();
    EXPECT_EQ(ack.ToJSON(pool), R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})");
}

TEST(MuxMessageToJSON, IsEmptyWhenThePayloadHoldsANumberThatJsonCannotExpress) {
    EXPECT_EQ(Ack(rapidjson::Value(std::numeric_limits<double>::quiet_NaN())).ToJSON(), "");
}

void ExpectOneLine(MuxMessage message, plog::Severity severity, const std::string& text) {
    const CapturedLog log;
    message.ToJSON();
    EXPECT_THAT(log.Lines(),
                testing::ElementsAre(testing::Pair(severity, "std::string Mux::MuxMessage::ToJSON() " + text)));
}

TEST(MuxMessageToJSONLog, SaysWhatIsConverted) {
    ExpectOneLine(Ack(), plog::verbose, " Converting ACK Message.");
    ExpectOneLine(Nack(), plog::verbose, "Converting NACK Message.");
    ExpectOneLine({1, "a", 10, std::make_unique<MuxLockOpenMessagePayload>(1, 2)}, plog::verbose,
                  "Current Message Code: 10");
}

TEST(MuxMessageToJSONLog, WarnsWhenThereIsNoPayload) {
    for (const std::int32_t code : {0, 1, 20, -5}) {
        ExpectOneLine({1, "a", code, {}}, plog::warning,
                      "Current Message data is NULL. MessageCode: " + std::to_string(code));
    }
}

}  // namespace
}  // namespace Mux
