// Texts that clients send, read into messages, and messages written into bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <set>
#include <string>
#include <typeinfo>

#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::ParsedJson;

namespace Mux {
namespace {

std::unique_ptr<MuxMessage> Parsed(const std::string& text) {
    auto message = MuxMessageBuilder().ParseMessage(text);
    EXPECT_NE(message, nullptr) << text;
    return message;
}

std::int32_t TimestampOf(const std::string& value) {
    return Parsed(R"({"Timestamp":)" + value + "}")->Timestamp();
}

std::int32_t CodeOf(const std::string& value) {
    return Parsed(R"({"MessageCode":)" + value + "}")->MessageCode();
}

std::string IdOf(const std::string& value) {
    return Parsed(R"({"MessageID":)" + value + "}")->MessageID();
}

TEST(ParseMessage, ReadsAWholeMessage) {
    const auto message =
        Parsed(R"({"Timestamp":1700000000,"MessageID":"abc","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})");
    EXPECT_EQ(message->Timestamp(), 1700000000);
    EXPECT_EQ(message->MessageID(), "abc");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_LOCK_OPEN);
    const auto* payload = dynamic_cast<MuxLockOpenMessagePayload*>(message->Payload());
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->GatewayID(), 1);
    EXPECT_EQ(payload->LockID(), 5);
}

TEST(ParseMessage, ReadsMembersInAnyOrderWithWhiteSpaceAndUnknownOnes) {
    const auto message = Parsed(
        " { \"Data\" : { \"lockID\" : 5 , \"x\" : [ ] , \"gatewayID\" : 1 } , \"other\" : { } ,\r\n"
        " \"MessageCode\" : 12 , \"MessageID\" : \"i\" , \"Timestamp\" : 3 } ");
    EXPECT_EQ(message->ToJSON(),
              R"({"Timestamp":3,"MessageID":"i","MessageCode":12,"Data":{"gatewayID":1,"lockID":5}})");
}

TEST(ParseMessage, ACodeAloneGivesTimestampZeroEmptyIdentifierAndNoPayload) {
    const auto message = Parsed(R"({"MessageCode":10})");
    EXPECT_EQ(message->Timestamp(), 0);
    EXPECT_EQ(message->MessageID(), "");
    EXPECT_EQ(message->MessageCode(), 10);
    EXPECT_EQ(message->Payload(), nullptr);
}

TEST(ParseMessage, AnEmptyObjectIsAnAckWithoutPayload) {
    const auto message = Parsed("{}");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_ACK);
    EXPECT_EQ(message->Timestamp(), 0);
    EXPECT_EQ(message->MessageID(), "");
    EXPECT_EQ(message->Payload(), nullptr);
    EXPECT_EQ(message->NackPayload(), nullptr);
}

TEST(ParseMessage, KeepsOnlyTheLow32BitsOfATimestamp) {
    EXPECT_EQ(TimestampOf("4294967297"), 1);
    EXPECT_EQ(TimestampOf("4294967296"), 0);
    EXPECT_EQ(TimestampOf("-4294967297"), -1);
    EXPECT_EQ(TimestampOf("9223372036854775807"), -1);
    EXPECT_EQ(TimestampOf("-9223372036854775808"), 0);
}

TEST(ParseMessage, ReadsTimestampsAtTheLimitsOf32Bits) {
    EXPECT_EQ(TimestampOf("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(TimestampOf("-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(TimestampOf("2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(TimestampOf("4294967295"), -1);
    EXPECT_EQ(TimestampOf("-2147483649"), std::numeric_limits<std::int32_t>::max());
}

TEST(ParseMessage, ReadsCodesAtTheLimitsOf32Bits) {
    EXPECT_EQ(CodeOf("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(CodeOf("-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(CodeOf("-0"), 0);
}

TEST(ParseMessage, TakesTheDefaultForMembersOfTheWrongType) {
    for (const char* value : {"null", "true", "\"1\"", "[1]", "{}"}) {
        EXPECT_EQ(TimestampOf(value), 0) << value;
        EXPECT_EQ(CodeOf(value), 0) << value;
    }
    for (const char* value : {"null", "true", "1", "[\"a\"]", "{}"}) {
        EXPECT_EQ(IdOf(value), "") << value;
    }
}

TEST(ParseMessage, IgnoresDataThatIsNoObject) {
    for (const char* value : {"[]", "[1]", "\"x\"", "1", "true", "null"}) {
        const auto message = Parsed(std::string(R"({"MessageCode":10,"Data":)") + value + "}");
        EXPECT_EQ(message->MessageCode(), 10) << value;
        EXPECT_EQ(message->Payload(), nullptr) << value;
    }
}

TEST(ParseMessage, DistinguishesUpperAndLowerCaseInMemberNames) {
    const auto message =
        Parsed(R"({"timestamp":1,"messageID":"a","messagecode":10,"data":{"gatewayID":1,"lockID":2}})");
    EXPECT_EQ(message->ToJSON(), R"({"Timestamp":0,"MessageID":"","MessageCode":0,"Data":null})");
}

TEST(ParseMessage, ReadsTheFirstOfMembersWithTheSameName) {
    EXPECT_EQ(Parsed(R"({"MessageCode":10,"MessageCode":11})")->MessageCode(), 10);
}

TEST(ParseMessage, GivesNullForTextThatIsNoJsonAndLogsNothing) {
    const CapturedLog log;
    for (const char* text : {"", " ", "{", "hello", "{\"MessageCode\":10,}", "{'MessageCode':10}", "{}//", "{}{}"}) {
        EXPECT_EQ(MuxMessageBuilder().ParseMessage(text), nullptr) << text;
    }
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(ParseMessage, TakesANulCharacterForAByteLikeAnyOther) {
    EXPECT_EQ(MuxMessageBuilder().ParseMessage(std::string("{}\0", 3)), nullptr);
    EXPECT_EQ(MuxMessageBuilder().ParseMessage(std::string("{\"MessageCode\":10}\0{}", 21)), nullptr);
    EXPECT_EQ(MuxMessageBuilder().ParseMessage(std::string("{\"MessageID\":\"a\0b\"}", 19)), nullptr);
}

TEST(ParseMessage, KeepsAnEscapedNulCharacterInAnIdentifier) {
    const auto message = Parsed(R"({"MessageID":"a\u0000b"})");
    EXPECT_EQ(message->MessageID(), std::string("a\0b", 3));
    EXPECT_EQ(message->ToJSON(), R"({"Timestamp":0,"MessageID":"a\u0000b","MessageCode":0,"Data":null})");
}

TEST(ParseMessage, ReadsEscapedCharactersOfAnIdentifier) {
    EXPECT_EQ(IdOf(R"("\" \\ \/ \b\f\n\r\t \u00e9 \ud83d\udd11")"), "\" \\ / \b\f\n\r\t \xC3\xA9 \xF0\x9F\x94\x91");
}

TEST(ParseMessage, AnIdentifierOf64KibibytesThatIsNoUtf8ComesBackUndamaged) {
    std::string messageID;
    while (messageID.size() < 65536) {
        messageID += static_cast<char>(0x80 + messageID.size() % 128);
    }
    const std::string text = "{\"Timestamp\":1,\"MessageID\":\"" + messageID + "\",\"MessageCode\":0,\"Data\":null}";
    const auto message = Parsed(text);
    EXPECT_TRUE(message->MessageID() == messageID);
    EXPECT_TRUE(message->ToJSON() == text);
}

struct RequestOfCode {
    MuxMessageCodes messageCode;
    const std::type_info* payload;
    const char* data;
};

void PrintTo(const RequestOfCode& request, std::ostream* out) {
    *out << "code " << request.messageCode;
}

const char* const kGatewayAndLock = R"({"gatewayID":7,"lockID":-4711})";
const char* const kGatewayLockAndDuration = R"({"gatewayID":7,"lockID":-4711,"duration":255})";
const char* const kCard =
    R"({"gatewayID":7,"lockID":-4711,"setupNumber":3,"options":4294967295,"cardData":"04A1B2C3","isUIDCard":true})";
const char* const kConfiguration =
    R"({"Enabled":true,"Gateways":[{"ID":1,"Port":2101,"Devices":[{"Name":"Door 1","ID":4711}]}],"x":[1.5,null]})";

const RequestOfCode kRequests[] = {
    {MUX_MESSAGE_CONFIGURE, &typeid(MuxConfigureMessagePayload), kConfiguration},
    {MUX_MESSAGE_LOCK_OPEN, &typeid(MuxLockOpenMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_LOCK_CLOSE, &typeid(MuxLockCloseMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_LOCK_GET_STATUS, &typeid(MuxGetLockStatusMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_LOCK_OPEN_CLOSE, &typeid(MuxLockOpenCloseMessagePayload), kGatewayLockAndDuration},
    {MUX_MESSAGE_ACCESS_DENIED, &typeid(MuxAccessDeniedMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_LOCK_WHITELIST_SET, &typeid(MuxWhitelistSetPayload), kCard},
    {MUX_MESSAGE_CLEAR_WHITELIST, &typeid(MuxWhitelistClearPayload), kGatewayAndLock},
    {MUX_MESSAGE_ENABLE_WHITELIST, &typeid(MuxWhitelistEnablePayload), kGatewayAndLock},
    {MUX_MESSAGE_DISABLE_WHITELIST, &typeid(MuxWhitelistDisablePayload), kGatewayAndLock},
    {MUX_MESSAGE_LOCK_WHITELIST_REMOVE, &typeid(MuxWhitelistSetPayload), kCard},
    {MUX_MESSAGE_EVENT_LOCK_OPEN, &typeid(MuxLockOpenMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_EVENT_LOCK_CLOSE, &typeid(MuxLockCloseMessagePayload), kGatewayAndLock},
    {MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE, &typeid(MuxLockOpenCloseMessagePayload), kGatewayLockAndDuration},
    {MUX_MESSAGE_EVENT_ACCESS_DENIED, &typeid(MuxAccessDeniedMessagePayload), kGatewayAndLock},
};

class ParseMessageOfCode : public testing::TestWithParam<RequestOfCode> {};

TEST_P(ParseMessageOfCode, GivesItsPayloadClassAndWritesTheSameTextBack) {
    const std::string text = R"({"Timestamp":1700000000,"MessageID":"request 1","MessageCode":)" +
                             std::to_string(GetParam().messageCode) + R"(,"Data":)" + GetParam().data + "}";
    const auto message = Parsed(text);
    ASSERT_NE(message->Payload(), nullptr);
    MuxMessagePayloadBase& payload = *message->Payload();
    EXPECT_STREQ(typeid(payload).name(), GetParam().payload->name());
    EXPECT_EQ(message->ToJSON(), text);
    EXPECT_EQ(payload.ToJSON(), GetParam().data);
}

INSTANTIATE_TEST_SUITE_P(EveryCodeWithAParser, ParseMessageOfCode, testing::ValuesIn(kRequests));

TEST(ParsePayload, GivesNoneForEveryCodeWithoutAParser) {
    std::set<std::int32_t> withParser;
    for (const RequestOfCode& request : kRequests) {
        withParser.insert(request.messageCode);
    }
    auto data = ParsedJson(kCard);
    for (std::int32_t code = -300; code <= 300; ++code) {
        if (withParser.count(code) == 0) {
            EXPECT_EQ(MuxMessageBuilder().ParsePayload(code, data), nullptr) << code;
        }
    }
    EXPECT_EQ(MuxMessageBuilder().ParsePayload(std::numeric_limits<std::int32_t>::min(), data), nullptr);
    EXPECT_EQ(MuxMessageBuilder().ParsePayload(std::numeric_limits<std::int32_t>::max(), data), nullptr);
}

TEST(ParsePayload, GivesNoneForAnAnswerThatAClientSends) {
    EXPECT_EQ(Parsed(R"({"MessageCode":0,"Data":{"Data":1}})")->Payload(), nullptr);
    const auto nack = Parsed(R"({"MessageCode":1,"Data":{"ErrorCode":1,"Message":"m"}})");
    EXPECT_EQ(nack->Payload(), nullptr);
    EXPECT_EQ(nack->NackPayload(), nullptr);
}

TEST(ParseMessage, KeepsAConfigurationAfterItsTextIsGone) {
    std::unique_ptr<MuxMessage> message;
    {
        std::string text = R"({"MessageCode":2,"Data":{"Description":"a text that is not kept inline"}})";
        message = Parsed(text);
        text.assign(text.size(), 'x');
    }
    EXPECT_EQ(message->Payload()->ToJSON(), R"({"Description":"a text that is not kept inline"})");
}

TEST(BuildMessage, GivesAMessageOfTheCurrentTime) {
    const auto before = std::time(nullptr);
    const auto message = MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, "abc", {});
    const auto after = std::time(nullptr);
    EXPECT_GE(message->Timestamp(), before);
    EXPECT_LE(message->Timestamp(), after);
    EXPECT_EQ(message->MessageID(), "abc");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_ACK);
    EXPECT_EQ(message->Payload(), nullptr);
}

TEST(BuildMessage, GivesTheMessageItsPayload) {
    MuxMessageBuilder builder;
    const auto ack = builder.BuildMessage(MUX_MESSAGE_ACK, "a", builder.BuildAckPayload());
    EXPECT_NE(ack->Payload(), nullptr);
    const auto nack = builder.BuildMessage(MUX_MESSAGE_NACK, "a", builder.BuildNackPayload(0, "Error in request"));
    EXPECT_NE(nack->NackPayload(), nullptr);
}

TEST(MessageToBytes, GivesTheBytesOfTheTextWithoutANulAtTheEnd) {
    MuxMessage message(1, "\xFF", MUX_MESSAGE_NACK, std::make_unique<MuxNackMessagePayload>(0, "m"));
    const auto bytes = MuxMessageBuilder().MessageToBytes(message);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(
        std::string(bytes->begin(), bytes->end()),
        "{\"Timestamp\":1,\"MessageID\":\"\xFF\",\"MessageCode\":1,\"Data\":{\"ErrorCode\":0,\"Message\":\"m\"}}");
}

TEST(MessageToBytes, GivesTheSameBytesInAPoolOfTheCaller) {
    MuxMessage message(1, "a", MUX_MESSAGE_NACK, std::make_unique<MuxNackMessagePayload>(0, "m"));
    rapidjson::MemoryPoolAllocator<> pool;
    const auto bytes = MuxMessageBuilder().MessageToBytes(message, pool);
    ASSERT_NE(bytes, nullptr);
    pool.Clear();
    EXPECT_EQ(*bytes, *MuxMessageBuilder().MessageToBytes(message));
}

TEST(MessageToBytes, GivesNullForAMessageThatHasNoText) {
    const rapidjson::Value infinity(std::numeric_limits<double>::infinity());
    MuxMessage message(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(infinity));
    EXPECT_EQ(MuxMessageBuilder().MessageToBytes(message), nullptr);
    rapidjson::MemoryPoolAllocator<> pool;
    MuxMessage another(1, "a", MUX_MESSAGE_ACK, std::make_unique<MuxAckMessagePayload>(infinity));
    EXPECT_EQ(MuxMessageBuilder().MessageToBytes(another, pool), nullptr);
}

TEST(ParseMessageDeathTest, ARootThatIsNoObjectIsAFailedAssertion) {
    for (const char* text : {"[]", "[1]", "\"text\"", "1", "true", "null"}) {
        EXPECT_DEATH(MuxMessageBuilder().ParseMessage(text), "Assertion .*IsObject.* failed") << text;
    }
}

TEST(ParseMessageDeathTest, ATimestampThatIsANumberButNoSigned64BitIntegerIsAFailedAssertion) {
    for (const char* value : {"1.5", "1.0", "1e3", "9223372036854775808", "-9223372036854775809"}) {
        EXPECT_DEATH(TimestampOf(value), "Assertion .* failed") << value;
    }
}

TEST(ParseMessageDeathTest, ACodeThatIsANumberButNoSigned32BitIntegerIsAFailedAssertion) {
    for (const char* value : {"1.5", "10.0", "2147483648", "-2147483649", "4294967296"}) {
        EXPECT_DEATH(CodeOf(value), "Assertion .* failed") << value;
    }
}

}  // namespace
}  // namespace Mux
