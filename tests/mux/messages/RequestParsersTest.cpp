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

int DurationOf(const std::string& value) {
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":5,"duration":)" + value + "}");
    return MuxMessageBuilder().ParseLockOpenCloseMessage(data)->Duration();
}

class SimpleRequest : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(EveryCode, SimpleRequest, testing::ValuesIn(kSimpleCodes));

TEST_P(SimpleRequest, ReadsGatewayAndLockAtTheLimitsOf32Bits) {
    EXPECT_EQ(Reparsed(GetParam(), R"({"lockID":-2147483648,"gatewayID":2147483647})"),
              R"({"gatewayID":2147483647,"lockID":-2147483648})");
}

TEST_P(SimpleRequest, ALockIdGivenAsTextIsLockZero) {
    EXPECT_EQ(Reparsed(GetParam(), R"({"gatewayID":1,"lockID":"5"})"), R"({"gatewayID":1,"lockID":0})");
}

TEST_P(SimpleRequest, MembersOfTheWrongTypeAreZero) {
    for (const char* value : {"null", "true", "\"5\"", "[5]", "{}"}) {
        const std::string text = std::string(R"({"gatewayID":)") + value + R"(,"lockID":)" + value + "}";
        EXPECT_EQ(Reparsed(GetParam(), text), R"({"gatewayID":0,"lockID":0})") << value;
    }
}

using SimpleRequestDeathTest = SimpleRequest;
INSTANTIATE_TEST_SUITE_P(EveryCode, SimpleRequestDeathTest, testing::ValuesIn(kSimpleCodes));

TEST_P(SimpleRequestDeathTest, AMissingMemberIsAFailedAssertion) {
    EXPECT_DEATH(Reparsed(GetParam(), R"({"lockID":5})"), "Assertion .* failed");
    EXPECT_DEATH(Reparsed(GetParam(), R"({"gatewayID":1})"), "Assertion .* failed");
}

TEST_P(SimpleRequestDeathTest, ANumberThatIsNoSigned32BitIntegerIsAFailedAssertion) {
    EXPECT_DEATH(Reparsed(GetParam(), R"({"gatewayID":1.5,"lockID":5})"), "Assertion .* failed");
    EXPECT_DEATH(Reparsed(GetParam(), R"({"gatewayID":1,"lockID":2147483648})"), "Assertion .* failed");
}

TEST(ParseLockCloseMessage, LogsGatewayAndLock) {
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":-5})");
    const CapturedLog log;
    MuxMessageBuilder().ParseLockCloseMessage(data);
    ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
    EXPECT_EQ(log.Count(plog::debug, "MuxMessageBuilder - gatewayID :1 lockID :-5"), 1) << log.Text();
}

TEST(ParseLockOpenMessage, LogsNothing) {
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":5})");
    const CapturedLog log;
    MuxMessageBuilder().ParseLockOpenMessage(data);
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

class OpenCloseRequest : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(EveryCode, OpenCloseRequest, testing::ValuesIn(kOpenCloseCodes));

TEST_P(OpenCloseRequest, ReadsGatewayLockAndDuration) {
    EXPECT_EQ(Reparsed(GetParam(), R"({"gatewayID":1,"lockID":5,"duration":7})"),
              R"({"gatewayID":1,"lockID":5,"duration":7})");
}

TEST_P(OpenCloseRequest, GatewayAndLockOfTheWrongTypeAreZero) {
    EXPECT_EQ(Reparsed(GetParam(), R"({"gatewayID":"1","lockID":null,"duration":7})"),
              R"({"gatewayID":0,"lockID":0,"duration":7})");
}

TEST(ParseLockOpenCloseMessage, KeepsTheLow8BitsOfADuration) {
    EXPECT_EQ(DurationOf("255"), 255);
    EXPECT_EQ(DurationOf("256"), 0);
    EXPECT_EQ(DurationOf("300"), 44);
    EXPECT_EQ(DurationOf("4294967295"), 255);
}

TEST(ParseLockOpenCloseMessage, LeavesADurationOfZeroAsItIs) {
    EXPECT_EQ(DurationOf("0"), 0);
}

TEST(ParseLockOpenCloseMessage, ADurationOfTheWrongTypeIsZero) {
    for (const char* value : {"null", "true", "\"5\"", "[5]", "{}"}) {
        EXPECT_EQ(DurationOf(value), 0) << value;
    }
}

using OpenCloseRequestDeathTest = OpenCloseRequest;
INSTANTIATE_TEST_SUITE_P(EveryCode, OpenCloseRequestDeathTest, testing::ValuesIn(kOpenCloseCodes));

TEST_P(OpenCloseRequestDeathTest, AMissingMemberIsAFailedAssertion) {
    EXPECT_DEATH(Reparsed(GetParam(), R"({"gatewayID":1,"lockID":5})"), "Assertion .* failed");
    EXPECT_DEATH(Reparsed(GetParam(), R"({"gatewayID":1,"duration":5})"), "Assertion .* failed");
    EXPECT_DEATH(Reparsed(GetParam(), R"({"lockID":1,"duration":5})"), "Assertion .* failed");
}

TEST(ParseLockOpenCloseMessageDeathTest, ADurationThatIsANumberButNoUnsigned32BitIntegerIsAFailedAssertion) {
    for (const char* value : {"1.5", "-1", "4294967296"}) {
        EXPECT_DEATH(DurationOf(value), "Assertion .* failed") << value;
    }
}

TEST(ParseConfigureMessage, TakesTheValueOverAndLeavesNull) {
    auto source = ParsedJson(R"({"Data":{"Enabled":true}})");
    const auto payload = MuxMessageBuilder().ParseConfigureMessage(source["Data"]);
    EXPECT_TRUE(source["Data"].IsNull());
    EXPECT_EQ(payload->ToJSON(), R"({"Enabled":true})");
}

// What became of a whitelist request, and what was logged about it.
class WhitelistRequest : public testing::Test {
  protected:
    std::unique_ptr<MuxWhitelistSetPayload> Parse(const std::string& text) {
        auto data = ParsedJson(text);
        return std::unique_ptr<MuxWhitelistSetPayload>(MuxMessageBuilder().ParseWhitelistSetMessage(data));
    }

    // A request that is right but for the members in `members`.
    std::unique_ptr<MuxWhitelistSetPayload> ParseWith(const std::string& members) {
        return Parse(R"({"gatewayID":1,"lockID":5,)" + members + "}");
    }

    void ExpectLine(plog::Severity severity, const std::string& text) {
        EXPECT_EQ(log_.Count(severity, text), 1) << text << "\n" << log_.Text();
    }

    std::size_t LineCount() const { return log_.Lines().size(); }
    std::string FirstLine() const { return log_.Lines().at(0).second; }

  private:
    const CapturedLog log_;
};

const char* const kFinished = "Finished parsing whitelist message payload.";
const char* const kNoCardData = "Cannot determine card data in whitelist message. Unrecoverable error";

TEST_F(WhitelistRequest, ReadsAllOfItsMembers) {
    const auto payload = ParseWith(R"("setupNumber":4294967295,"options":2,"cardData":"A1B2C3","isUIDCard":true)");
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->GatewayID(), 1);
    EXPECT_EQ(payload->LockID(), 5);
    EXPECT_EQ(payload->SetupNumber(), 4294967295U);
    EXPECT_EQ(payload->Options(), 2U);
    EXPECT_THAT(payload->CardData(), ElementsAre(0xC3, 0xB2, 0xA1));
    EXPECT_TRUE(payload->IsUIDCard());
    ExpectLine(plog::debug, kFinished);
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, LogsUnderTheSignatureOfTheParser) {
    Parse("{}");
    ASSERT_EQ(LineCount(), 1U);
    EXPECT_EQ(FirstLine(),
              "Mux::MuxWhitelistSetPayload* Mux::MuxMessageBuilder::ParseWhitelistSetMessage(rapidjson::Value&) "
              "Cannot parse gateway ID for current message.");
}

TEST_F(WhitelistRequest, NeedsAGatewayId) {
    EXPECT_EQ(Parse(R"({"lockID":5,"cardData":"AB"})"), nullptr);
    ExpectLine(plog::error, "Cannot parse gateway ID for current message.");
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, NeedsAGatewayIdThatIsANumber) {
    EXPECT_EQ(Parse(R"({"gatewayID":"1","lockID":5,"cardData":"AB"})"), nullptr);
    ExpectLine(plog::error, "Cannot parse gateway ID for current message.");
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, NeedsALockId) {
    EXPECT_EQ(Parse(R"({"gatewayID":1,"cardData":"AB"})"), nullptr);
    ExpectLine(plog::error, "Cannot parse lock ID for current message.");
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, NeedsALockIdThatIsANumber) {
    EXPECT_EQ(Parse(R"({"gatewayID":1,"lockID":null,"cardData":"AB"})"), nullptr);
    ExpectLine(plog::error, "Cannot parse lock ID for current message.");
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, TakesDefaultsForAllThatMayBeLeftOutAndSaysSo) {
    const auto payload = ParseWith(R"("cardData":"AB")");
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->SetupNumber(), 0U);
    EXPECT_EQ(payload->Options(), 0U);
    EXPECT_FALSE(payload->IsUIDCard());
    ExpectLine(plog::debug,
               "Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)");
    ExpectLine(plog::debug, "Current whitelist message doesn't contain an Options value. Will be set to default (0)");
    ExpectLine(plog::debug, "Card data type is not specified. Default su IsUIDCard false");
    ExpectLine(plog::debug, kFinished);
    EXPECT_EQ(LineCount(), 4U);
}

TEST_F(WhitelistRequest, ASetupNumberOfMinusOneBecomesZeroWithAWarning) {
    const auto payload = ParseWith(R"("setupNumber":-1,"options":1,"cardData":"AB","isUIDCard":true)");
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->SetupNumber(), 0U);
    ExpectLine(plog::warning, "Cannot parse setup number. Set to default 0.");
    EXPECT_EQ(LineCount(), 2U);
}

class UnusableUnsignedMember : public testing::TestWithParam<const char*> {};

TEST_P(UnusableUnsignedMember, BecomesZeroWithAWarningAsSetupNumberAndAsOptions) {
    const std::string value = GetParam();
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":5,"setupNumber":)" + value + R"(,"options":)" + value +
                           R"(,"cardData":"AB","isUIDCard":true})");
    const CapturedLog log;
    const std::unique_ptr<MuxWhitelistSetPayload> payload(MuxMessageBuilder().ParseWhitelistSetMessage(data));
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->SetupNumber(), 0U);
    EXPECT_EQ(payload->Options(), 0U);
    EXPECT_EQ(log.Count(plog::warning, "Cannot parse setup number. Set to default 0."), 1) << log.Text();
    EXPECT_EQ(log.Count(plog::warning, "Cannot parse options value. Set to default 0."), 1) << log.Text();
    EXPECT_EQ(log.Lines().size(), 3U) << log.Text();
}

INSTANTIATE_TEST_SUITE_P(WhatIsNoUnsigned32BitInteger, UnusableUnsignedMember,
                         testing::Values("1.5", "1.0", "4294967296", "-1", "\"1\"", "true", "null", "[1]", "{}"));

TEST_F(WhitelistRequest, CardDataOfThreeDigitsIsTwoBytes) {
    const auto payload = ParseWith(R"("cardData":"ABC")");
    ASSERT_NE(payload, nullptr);
    EXPECT_THAT(payload->CardData(), ElementsAre(0xBC, 0x0A));
}

TEST_F(WhitelistRequest, EmptyCardDataIsAnErrorAndNoPayload) {
    EXPECT_EQ(ParseWith(R"("setupNumber":1,"options":1,"cardData":"","isUIDCard":true)"), nullptr);
    ExpectLine(plog::error, kNoCardData);
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, MissingCardDataIsAnErrorAndNoPayload) {
    EXPECT_EQ(ParseWith(R"("setupNumber":1,"options":1,"isUIDCard":true)"), nullptr);
    ExpectLine(plog::warning, "Received a Mux Set Whitelist payload, but the card data is nullptr");
    ExpectLine(plog::error, kNoCardData);
    EXPECT_EQ(LineCount(), 2U);
}

TEST_F(WhitelistRequest, CardDataThatIsNoTextIsAnErrorAndNoPayload) {
    EXPECT_EQ(ParseWith(R"("setupNumber":1,"options":1,"cardData":12,"isUIDCard":true)"), nullptr);
    ExpectLine(plog::warning, "Card data value is not in the attended format.");
    ExpectLine(plog::error, kNoCardData);
    EXPECT_EQ(LineCount(), 2U);
}

TEST_F(WhitelistRequest, CardDataWithNoHexadecimalDigitAtAllIsAZeroByteForEveryPair) {
    const auto payload = ParseWith(R"("cardData":"\u0000xyz")");
    ASSERT_NE(payload, nullptr);
    EXPECT_THAT(payload->CardData(), ElementsAre(0x00, 0x00));
}

TEST_F(WhitelistRequest, ACardTypeGivenAsTextBecomesFalseWithAWarning) {
    const auto payload = ParseWith(R"("setupNumber":1,"options":1,"cardData":"AB","isUIDCard":"true")");
    ASSERT_NE(payload, nullptr);
    EXPECT_FALSE(payload->IsUIDCard());
    ExpectLine(plog::warning, "Card data type is not in a valid format. Will be used default value (false)");
    EXPECT_EQ(LineCount(), 2U);
}

// What the log says of each member, in the order in which they are looked at.
std::vector<std::string> TextsOf(const std::string& members) {
    auto data = ParsedJson(R"({"gatewayID":1,"lockID":5)" + members + "}");
    const CapturedLog log;
    const std::unique_ptr<MuxWhitelistSetPayload> payload(MuxMessageBuilder().ParseWhitelistSetMessage(data));
    std::vector<std::string> texts;
    for (const CapturedLog::Line& line : log.Lines()) {
        texts.push_back(line.second.substr(line.second.find(") ") + 2));
    }
    return texts;
}

TEST(ParseWhitelistSetMessage, LooksAtItsMembersInTheirOrderAndSaysLastWhatBecameOfTheRequest) {
    EXPECT_THAT(
        TextsOf(""),
        ElementsAre("Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)",
                    "Current whitelist message doesn't contain an Options value. Will be set to default (0)",
                    "Received a Mux Set Whitelist payload, but the card data is nullptr",
                    "Card data type is not specified. Default su IsUIDCard false", kNoCardData));
    EXPECT_THAT(
        TextsOf(R"(,"setupNumber":"1","options":"1","cardData":1,"isUIDCard":1)"),
        ElementsAre("Cannot parse setup number. Set to default 0.", "Cannot parse options value. Set to default 0.",
                    "Card data value is not in the attended format.",
                    "Card data type is not in a valid format. Will be used default value (false)", kNoCardData));
    EXPECT_THAT(
        TextsOf(R"(,"cardData":"AB")"),
        ElementsAre("Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)",
                    "Current whitelist message doesn't contain an Options value. Will be set to default (0)",
                    "Card data type is not specified. Default su IsUIDCard false", kFinished));
}

TEST_F(WhitelistRequest, ACardTypeOfFalseIsNoWarning) {
    const auto payload = ParseWith(R"("setupNumber":1,"options":1,"cardData":"AB","isUIDCard":false)");
    ASSERT_NE(payload, nullptr);
    EXPECT_FALSE(payload->IsUIDCard());
    EXPECT_EQ(LineCount(), 1U);
}

TEST_F(WhitelistRequest, ARefusedPayloadStillLeavesAMessage) {
    const auto message = MuxMessageBuilder().ParseMessage(R"({"MessageID":"a","MessageCode":21,"Data":{"lockID":5}})");
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->MessageID(), "a");
    EXPECT_EQ(message->MessageCode(), MUX_MESSAGE_LOCK_WHITELIST_SET);
    EXPECT_EQ(message->Payload(), nullptr);
}

using WhitelistRequestDeathTest = WhitelistRequest;

TEST_F(WhitelistRequestDeathTest, AGatewayOrLockThatIsANumberButNoSigned32BitIntegerIsAFailedAssertion) {
    EXPECT_DEATH(Parse(R"({"gatewayID":1.5,"lockID":5,"cardData":"AB"})"), "Assertion .* failed");
    EXPECT_DEATH(Parse(R"({"gatewayID":2147483648,"lockID":5,"cardData":"AB"})"), "Assertion .* failed");
    EXPECT_DEATH(Parse(R"({"gatewayID":1,"lockID":-2147483649,"cardData":"AB"})"), "Assertion .* failed");
}

}  // namespace
}  // namespace Mux
