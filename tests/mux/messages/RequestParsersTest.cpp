// The parsers of what clients ask for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using testing::ElementsAre;
using Testing::ParsedJson;

namespace Mux {
namespace {

// The codes whose requests name a gateway and a lock and nothing else.
const std::int32_t kSimpleCodes[] = {
    MUX_MESSAGE_LOCK_OPEN,           MUX_MESSAGE_LOCK_CLOSE,      MUX_MESSAGE_LOCK_GET_STATUS,
    MUX_MESSAGE_ACCESS_DENIED,       MUX_MESSAGE_CLEAR_WHITELIST, MUX_MESSAGE_ENABLE_WHITELIST,
    MUX_MESSAGE_DISABLE_WHITELIST,   MUX_MESSAGE_EVENT_LOCK_OPEN, MUX_MESSAGE_EVENT_LOCK_CLOSE,
    MUX_MESSAGE_EVENT_ACCESS_DENIED,
};

const std::int32_t kOpenCloseCodes[] = {MUX_MESSAGE_LOCK_OPEN_CLOSE, MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE};

std::string Reparsed(std::int32_t code, const std::string& text) {
    auto data = ParsedJson(text);
    const auto payload = MuxMessageBuilder().ParsePayload(code, data);
    return payload != nullptr ? payload->ToJSON() : "no payload";
}

// {"gatewayID":<gateway>,"lockID":<lock>}; both values are JSON texts.
std::string LockText(const std::string& gateway, const std::string& lock) {
    return R"({"gatewayID":)" + gateway + R"(,"lockID":)" + lock + "}";
}

int DurationOf(const std::string& value) {
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":5,"duration":)" + value + "}");
    return MuxMessageBuilder().ParseLockOpenCloseMessage(data)->Duration();
}

TEST(SimpleRequest, ReadsGatewayAndLockOfWhichEachIsZeroWhenItIsNoNumber) {
    for (const std::int32_t code : kSimpleCodes) {
        EXPECT_EQ(Reparsed(code, R"({"lockID":-2147483648,"gatewayID":2147483647})"),
                  LockText("2147483647", "-2147483648"))
            << code;
        EXPECT_EQ(Reparsed(code, LockText("1", "\"5\"")), LockText("1", "0")) << code;
        for (const char* value : {"null", "true", "\"5\"", "[5]", "{}"}) {
            EXPECT_EQ(Reparsed(code, LockText(value, value)), LockText("0", "0")) << code << value;
        }
    }
}

class SimpleRequestDeathTest : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(EveryCode, SimpleRequestDeathTest, testing::ValuesIn(kSimpleCodes));

TEST_P(SimpleRequestDeathTest, AMissingMemberAndANumberThatIsNoSigned32BitIntegerAreFailedAssertions) {
    for (const std::string& text : {std::string(R"({"lockID":5})"), std::string(R"({"gatewayID":1})"),
                                    LockText("1.5", "5"), LockText("1", "2147483648")}) {
        EXPECT_DEATH(Reparsed(GetParam(), text), "Assertion .* failed") << text;
    }
}

TEST(ParseLockCloseMessage, AloneLogsGatewayAndLock) {
    auto data = ParsedJson(LockText("1", "-5"));
    const CapturedLog log;
    MuxMessageBuilder().ParseLockOpenMessage(data);
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
    MuxMessageBuilder().ParseLockCloseMessage(data);
    ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
    EXPECT_EQ(log.Count(plog::debug, "MuxMessageBuilder - gatewayID :1 lockID :-5"), 1) << log.Text();
}

TEST(OpenCloseRequest, ReadsGatewayLockAndDuration) {
    for (const std::int32_t code : kOpenCloseCodes) {
        EXPECT_EQ(Reparsed(code, R"({"gatewayID":1,"lockID":5,"duration":7})"),
                  R"({"gatewayID":1,"lockID":5,"duration":7})");
        EXPECT_EQ(Reparsed(code, R"({"gatewayID":"1","lockID":null,"duration":7})"),
                  R"({"gatewayID":0,"lockID":0,"duration":7})");
    }
}

TEST(OpenCloseRequest, KeepsTheLow8BitsOfADurationWhichIsZeroWhenItIsNoNumber) {
    EXPECT_EQ(DurationOf("0"), 0);
    EXPECT_EQ(DurationOf("255"), 255);
    EXPECT_EQ(DurationOf("256"), 0);
    EXPECT_EQ(DurationOf("300"), 44);
    EXPECT_EQ(DurationOf("4294967295"), 255);
    for (const char* value : {"null", "true", "\"5\"", "[5]", "{}"}) {
        EXPECT_EQ(DurationOf(value), 0) << value;
    }
}

TEST(OpenCloseRequestDeathTest, AMissingMemberIsAFailedAssertion) {
    for (const std::int32_t code : kOpenCloseCodes) {
        for (const char* text :
             {R"({"gatewayID":1,"lockID":5})", R"({"gatewayID":1,"duration":5})", R"({"lockID":1,"duration":5})"}) {
            EXPECT_DEATH(Reparsed(code, text), "Assertion .* failed") << text;
        }
    }
}

TEST(OpenCloseRequestDeathTest, ADurationThatIsANumberButNoUnsigned32BitIntegerIsAFailedAssertion) {
    for (const char* value : {"1.5", "-1", "4294967296"}) {
        EXPECT_DEATH(DurationOf(value), "Assertion .* failed") << value;
    }
}

std::unique_ptr<MuxWhitelistSetPayload> ParsedWhitelistSet(const std::string& text) {
    auto data = ParsedJson(text);
    return std::unique_ptr<MuxWhitelistSetPayload>(MuxMessageBuilder().ParseWhitelistSetMessage(data));
}

struct WhitelistRow {
    std::string members;  // of the request, besides gateway 1 and lock 5
    bool isRead;
    std::vector<std::string> lines;  // their severity and their text, in the order in which the members are looked at
};

const std::string kFinished = "DEBUG Finished parsing whitelist message payload.";
const std::string kNoCardData = "ERROR Cannot determine card data in whitelist message. Unrecoverable error";
const std::string kNoSetupNumber =
    "DEBUG Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)";
const std::string kNoOptions =
    "DEBUG Current whitelist message doesn't contain an Options value. Will be set to default (0)";
const std::string kNoCardType = "DEBUG Card data type is not specified. Default su IsUIDCard false";
const std::string kBadSetupNumber = "WARN Cannot parse setup number. Set to default 0.";
const std::string kBadOptions = "WARN Cannot parse options value. Set to default 0.";
const std::string kBadCardType = "WARN Card data type is not in a valid format. Will be used default value (false)";
const std::string kMissingCard = "WARN Received a Mux Set Whitelist payload, but the card data is nullptr";
const std::string kBadCard = "WARN Card data value is not in the attended format.";

const WhitelistRow kWhitelistRows[] = {
    {R"("setupNumber":4294967295,"options":2,"cardData":"A1","isUIDCard":true)", true, {kFinished}},
    {R"("setupNumber":1,"options":1,"cardData":"A1","isUIDCard":false)", true, {kFinished}},
    {R"("cardData":"AB")", true, {kNoSetupNumber, kNoOptions, kNoCardType, kFinished}},
    {R"("setupNumber":-1,"options":1,"cardData":"AB","isUIDCard":"true")",
     true,
     {kBadSetupNumber, kBadCardType, kFinished}},
    {R"("setupNumber":1,"options":1,"cardData":"","isUIDCard":true)", false, {kNoCardData}},
    {R"("setupNumber":"1","options":"1","cardData":1,"isUIDCard":1)",
     false,
     {kBadSetupNumber, kBadOptions, kBadCard, kBadCardType, kNoCardData}},
    {R"("x":0)", false, {kNoSetupNumber, kNoOptions, kMissingCard, kNoCardType, kNoCardData}},
};

// All lines so far: severity and text, without the signature.
std::vector<std::string> TextsOf(const CapturedLog& log) {
    const std::string signature =
        "Mux::MuxWhitelistSetPayload* Mux::MuxMessageBuilder::ParseWhitelistSetMessage(rapidjson::Value&) ";
    std::vector<std::string> texts;
    for (const auto& [severity, line] : log.Lines()) {
        EXPECT_EQ(line.find(signature), 0U) << line;
        texts.push_back(std::string(plog::severityToString(severity)) + " " + line.substr(signature.size()));
    }
    return texts;
}

TEST(WhitelistRequest, LooksAtItsMembersInTheirOrderAndSaysLastWhatBecameOfIt) {
    for (const WhitelistRow& row : kWhitelistRows) {
        SCOPED_TRACE(row.members);
        const CapturedLog log;
        const auto payload = ParsedWhitelistSet(R"({"gatewayID":1,"lockID":5,)" + row.members + "}");
        EXPECT_EQ(payload != nullptr, row.isRead);
        EXPECT_EQ(TextsOf(log), row.lines);
    }
}

TEST(WhitelistRequest, NeedsAGatewayAndALockThatAreNumbers) {
    const CapturedLog log;
    for (const char* text :
         {R"({"lockID":5,"cardData":"AB"})", R"({"gatewayID":"1","lockID":5,"cardData":"AB"})",
          R"({"gatewayID":1,"cardData":"AB"})", R"({"gatewayID":1,"lockID":null,"cardData":"AB"})"}) {
        EXPECT_EQ(ParsedWhitelistSet(text), nullptr) << text;
    }
    const std::string noGateway = "ERROR Cannot parse gateway ID for current message.";
    const std::string noLock = "ERROR Cannot parse lock ID for current message.";
    EXPECT_THAT(TextsOf(log), ElementsAre(noGateway, noGateway, noLock, noLock));
}

TEST(WhitelistRequest, HoldsItsMembersOrTheirDefaults) {
    const auto whole = ParsedWhitelistSet(
        R"({"gatewayID":1,"lockID":5,"setupNumber":4294967295,"options":2,"cardData":"A1B2C","isUIDCard":true})");
    EXPECT_EQ(whole->GatewayID(), 1);
    EXPECT_EQ(whole->LockID(), 5);
    EXPECT_EQ(whole->SetupNumber(), 4294967295U);
    EXPECT_EQ(whole->Options(), 2U);
    EXPECT_THAT(whole->CardData(), ElementsAre(0x2C, 0x1B, 0x0A));
    EXPECT_TRUE(whole->IsUIDCard());
    const auto least = ParsedWhitelistSet(R"({"gatewayID":1,"lockID":5,"cardData":"\u0000xyz"})");
    EXPECT_EQ(least->SetupNumber(), 0U);
    EXPECT_EQ(least->Options(), 0U);
    EXPECT_THAT(least->CardData(), ElementsAre(0x00, 0x00));
    EXPECT_FALSE(least->IsUIDCard());
}

TEST(WhitelistRequest, TakesZeroForASetupNumberAndForOptionsThatAreNoUnsigned32BitInteger) {
    for (const char* value : {"1.5", "1.0", "4294967296", "-1", "\"1\"", "true", "null", "[1]", "{}"}) {
        std::string request = R"({"gatewayID":1,"lockID":5,"cardData":"AB","isUIDCard":true)";
        for (const char* member : {"setupNumber", "options"}) {
            request.append(",\"").append(member).append("\":").append(value);
        }
        const CapturedLog log;
        const auto payload = ParsedWhitelistSet(request + "}");
        EXPECT_EQ(payload->SetupNumber(), 0U) << value;
        EXPECT_EQ(payload->Options(), 0U) << value;
        EXPECT_THAT(TextsOf(log), ElementsAre(kBadSetupNumber, kBadOptions, kFinished)) << value;
    }
}

TEST(WhitelistRequestDeathTest, AGatewayOrLockThatIsANumberButNoSigned32BitIntegerIsAFailedAssertion) {
    for (const char* text :
         {R"({"gatewayID":1.5,"lockID":5,"cardData":"AB"})", R"({"gatewayID":2147483648,"lockID":5,"cardData":"AB"})",
          R"({"gatewayID":1,"lockID":-2147483649,"cardData":"AB"})"}) {
        EXPECT_DEATH(ParsedWhitelistSet(text), "Assertion .* failed") << text;
    }
}

}  // namespace
}  // namespace Mux
