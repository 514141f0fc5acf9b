// Texts that clients send, read into messages, and messages written into bytes.

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>

#include "mux/messages/MuxMessageBuilder.h"
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

TEST(ParseMessage, ReadsMembersInAnyOrderWithWhiteSpaceAndUnknownOnesAndTheFirstOfOneName) {
    const auto message = Parsed(
        " { \"Data\" : { \"lockID\" : 5 , \"x\" : [ ] , \"gatewayID\" : 1 } , \"other\" : { } ,\r\n"
        " \"MessageCode\" : 12 , \"MessageID\" : \"i\" , \"MessageCode\" : 11 , \"Timestamp\" : 3 } ");
    EXPECT_EQ(message->Timestamp(), 3);
    EXPECT_EQ(message->MessageID(), "i");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_LOCK_GET_STATUS);
    EXPECT_EQ(message->ToJSON(),
              R"({"Timestamp":3,"MessageID":"i","MessageCode":12,"Data":{"gatewayID":1,"lockID":5}})");
}

TEST(ParseMessage, TakesTheDefaultForMembersThatAreMissingOrOfTheWrongType) {
    const std::string nothing = R"({"Timestamp":0,"MessageID":"","MessageCode":0,"Data":null})";
    for (const char* text : {"{}", R"({"timestamp":1,"messageID":"a","messagecode":10,"data":{"gatewayID":1}})",
                             R"({"MessageCode":0,"Data":{"Data":1}})"}) {
        const auto message = Parsed(text);
        EXPECT_EQ(message->ToJSON(), nothing) << text;
        EXPECT_EQ(message->Payload(), nullptr) << text;
    }
    for (const char* value : {"null", "true", "\"1\"", "[1]", "{}"}) {
        EXPECT_EQ(TimestampOf(value), 0) << value;
        EXPECT_EQ(CodeOf(value), 0) << value;
    }
    for (const char* value : {"null", "true", "1", "[\"a\"]", "{}"}) {
        EXPECT_EQ(IdOf(value), "") << value;
    }
}

TEST(ParseMessage, IsAMessageWithoutPayloadWhenTheDataIsNoObjectOrIsRefused) {
    for (const char* data : {"[]", "[1]", "\"x\"", "1", "true", "null", R"({"lockID":5})"}) {
        const auto message = Parsed(std::string(R"({"MessageID":"a","MessageCode":21,"Data":)") + data + "}");
        EXPECT_EQ(message->MessageID(), "a") << data;
        EXPECT_EQ(message->MessageCode(), 21) << data;
        EXPECT_EQ(message->Payload(), nullptr) << data;
    }
}

TEST(ParseMessage, KeepsOnlyTheLow32BitsOfATimestamp) {
    EXPECT_EQ(TimestampOf("2147483647"), kMost);
    EXPECT_EQ(TimestampOf("-2147483648"), kLeast);
    EXPECT_EQ(TimestampOf("2147483648"), kLeast);
    EXPECT_EQ(TimestampOf("-2147483649"), kMost);
    EXPECT_EQ(TimestampOf("4294967296"), 0);
    EXPECT_EQ(TimestampOf("4294967297"), 1);
    EXPECT_EQ(TimestampOf("-4294967297"), -1);
    EXPECT_EQ(TimestampOf("9223372036854775807"), -1);
    EXPECT_EQ(TimestampOf("-9223372036854775808"), 0);
}

TEST(ParseMessage, ReadsCodesAtTheLimitsOf32Bits) {
    EXPECT_EQ(CodeOf("2147483647"), kMost);
    EXPECT_EQ(CodeOf("-2147483648"), kLeast);
    EXPECT_EQ(CodeOf("-0"), 0);
}

TEST(ParseMessage, GivesNullForTextThatIsNoJsonAndLogsNothing) {
    const CapturedLog log;
    for (const std::string& text :
         {std::string(""), std::string(" "), std::string("{"), std::string("hello"),
          std::string("{\"MessageCode\":10,}"), std::string("{'MessageCode':10}"), std::string("{}//"),
          std::string("{}{}"), std::string("{}\0", 3), std::string("{\"MessageCode\":10}\0{}", 21),
          std::string("{\"MessageID\":\"a\0b\"}", 19)}) {
        EXPECT_EQ(MuxMessageBuilder().ParseMessage(text), nullptr) << text;
    }
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(ParseMessage, ReadsEscapedCharactersOfAnIdentifier) {
    EXPECT_EQ(IdOf(R"("\" \\ \/ \b\f\n\r\t \u00e9 \ud83d\udd11")"), "\" \\ / \b\f\n\r\t \xC3\xA9 \xF0\x9F\x94\x91");
    EXPECT_EQ(IdOf(R"("a\u0000b")"), std::string("a\0b", 3));
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
    EXPECT_EQ(MuxMessageBuilder().ParsePayload(kLeast, data), nullptr);
    EXPECT_EQ(MuxMessageBuilder().ParsePayload(kMost, data), nullptr);
}

TEST(BuildMessage, GivesAMessageOfTheCurrentTimeWithItsPayload) {
    MuxMessageBuilder builder;
    const auto before = std::time(nullptr);
    const auto message = builder.BuildMessage(MUX_MESSAGE_NACK, "abc", builder.BuildNackPayload(0, "m"));
    const auto after = std::time(nullptr);
    EXPECT_GE(message->Timestamp(), before);
    EXPECT_LE(message->Timestamp(), after);
    EXPECT_EQ(message->MessageID(), "abc");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_NACK);
    EXPECT_NE(message->NackPayload(), nullptr);
}

TEST(BuildMessage, TakesPayloadsOfWhichEachValueIsInItsPlace) {
    MuxMessageBuilder builder;
    const auto data = ParsedJson(R"({"a":1})");
    EXPECT_EQ(builder.BuildAckPayload()->ToJSON(), "{}");
    EXPECT_EQ(builder.BuildAckPayload(data)->ToJSON(), R"({"Data":{"a":1}})");
    EXPECT_EQ(builder.BuildNackPayload(1, "m")->ToJSON(), R"({"ErrorCode":1,"Message":"m"})");
    EXPECT_EQ(builder.BuildNackPayload(1, "m", data)->ToJSON(), R"({"ErrorCode":1,"Message":"m","Data":{"a":1}})");
    EXPECT_EQ(builder.BuildLockOperationResponse(false, 3)->ToJSON(), R"({"Success":false,"ErrorCode":3})");
    EXPECT_EQ(builder.BuildCardEvent(1, 65535, "t", "04A1")->ToJSON(),
              R"({"gatewayID":1,"lockID":65535,"timestamp":"t","RFIDData":"04A1"})");
}

TEST(BuildMessage, TakesALockStatusWithTheScandinavianFireModeOff) {
    MuxMessageBuilder builder;
    for (int set = 0; set < 4; ++set) {
        const auto status = builder.BuildLockStatusResponse(2, 3, set == 0, set == 1, set == 2, set == 3);
        EXPECT_EQ(status->BatteryStatus(), 2);
        EXPECT_EQ(status->QoS(), 3);
        EXPECT_EQ(status->MechanicalActive(), set == 0);
        EXPECT_EQ(status->BatteryWarningLevel(), set == 1);
        EXPECT_EQ(status->BatteryAlarmLevel(), set == 2);
        EXPECT_EQ(status->ReaderConnected(), set == 3);
        EXPECT_FALSE(status->ScandinavianFireMode());
    }
}

TEST(MessageToBytes, GivesTheBytesOfTheTextWithoutANulAtTheEndInAnyPool) {
    MuxMessage message(1, "\xFF", MUX_MESSAGE_NACK, std::make_unique<MuxNackMessagePayload>(0, "m"));
    rapidjson::MemoryPoolAllocator<> pool;
    const auto bytes = MuxMessageBuilder().MessageToBytes(message, pool);
    pool.Clear();
    const std::string expected =
        "{\"Timestamp\":1,\"MessageID\":\"\xFF\",\"MessageCode\":1,\"Data\":{\"ErrorCode\":0,\"Message\":\"m\"}}";
    EXPECT_EQ(std::string(bytes->begin(), bytes->end()), expected);
    EXPECT_EQ(*MuxMessageBuilder().MessageToBytes(message), *bytes);
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

TEST(ParseMessageDeathTest, ANumberThatDoesNotFitIsAFailedAssertion) {
    for (const char* value : {"1.5", "1.0", "1e3", "9223372036854775808", "-9223372036854775809"}) {
        EXPECT_DEATH(TimestampOf(value), "Assertion .* failed") << value;
    }
    for (const char* value : {"1.5", "10.0", "2147483648", "-2147483649", "4294967296"}) {
        EXPECT_DEATH(CodeOf(value), "Assertion .* failed") << value;
    }
}

}  // namespace
}  // namespace Mux
