#include "mux/messages/RequestTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"

namespace Mux {
namespace {

constexpr std::int32_t kFirstCodeTried = -200;
constexpr std::int32_t kLastCodeTried = 400;

// Without a default: a new code does not compile until it is said here who sends it.
bool IsSentByClients(MuxMessageCodes code) {
    switch (code) {
        case MUX_MESSAGE_ACK:
        case MUX_MESSAGE_NACK:
        case MUX_MESSAGE_EVENT_CARD_READER:
        case MUX_MESSAGE_EVENT_INFO:
            return false;
        case MUX_MESSAGE_CONFIGURE:
        case MUX_MESSAGE_LOCK_OPEN:
        case MUX_MESSAGE_LOCK_CLOSE:
        case MUX_MESSAGE_LOCK_GET_STATUS:
        case MUX_MESSAGE_LOCK_OPEN_CLOSE:
        case MUX_MESSAGE_ACCESS_DENIED:
        case MUX_MESSAGE_WHITELIST_GET:
        case MUX_MESSAGE_LOCK_WHITELIST_SET:
        case MUX_MESSAGE_CLEAR_WHITELIST:
        case MUX_MESSAGE_ENABLE_WHITELIST:
        case MUX_MESSAGE_DISABLE_WHITELIST:
        case MUX_MESSAGE_LOCK_WHITELIST_REMOVE:
        case MUX_MESSAGE_ACCESS_ALLOWED:
        case MUX_MESSAGE_EVENT_LOCK_OPEN:
        case MUX_MESSAGE_EVENT_LOCK_CLOSE:
        case MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE:
        case MUX_MESSAGE_EVENT_ACCESS_DENIED:
            return true;
    }
    return false;
}

std::vector<const RequestKind*> Rows() {
    std::vector<const RequestKind*> rows;
    for (std::int32_t code = kFirstCodeTried; code <= kLastCodeTried; ++code) {
        if (const RequestKind* const row = FindRequest(code)) {
            rows.push_back(row);
        }
    }
    return rows;
}

// What the row's parser makes of data that suits every request.
std::unique_ptr<MuxMessagePayloadBase> PayloadOf(const RequestKind& row) {
    MuxMessageBuilder builder;
    auto data = Testing::ParsedJson(R"({"gatewayID":3,"lockID":17,"duration":5,"cardData":"0A"})");
    return row.parse == nullptr ? nullptr : row.parse(builder, data);
}

struct ExpectedRequest {
    std::int32_t code;
    const char* logName;
    const char* codeName;
    const char* noPayloadText;
    bool answersEvent;
};

constexpr ExpectedRequest kRouted[] = {
    {10, "LOCK OPEN", "LOCK_OPEN", "", false},
    {11, "LOCK CLOSE", "LOCK_CLOSE", "", false},
    {12, "LOCK GET-STATUS", "LOCK_GETSTATUS",
     "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway.", false},
    {13, "LOCK OPEN-CLOSE", "LOCK_OPEN_CLOSE", "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.",
     false},
    {14, "ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.", false},
    {21, "WHITELIST SET", "LOCK_WHITELIST_SET",
     "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done.", false},
    {22, "WHITELIST CLEAR", "MUX_MESSAGE_CLEAR_WHITELIST", "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr.", false},
    {23, "WHITELIST ENABLE", "MUX_MESSAGE_ENABLE_WHITELIST", "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr.", false},
    {24, "WHITELIST DISABLE", "MUX_MESSAGE_DISABLE_WHITELIST", "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr.",
     false},
    {25, "", "LOCK_WHITELIST_REMOVE", "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done.",
     false},
    {110, "LOCK OPEN EVENT RESPONSE", "LOCK_OPEN", "", true},
    {111, "LOCK CLOSE EVENT RESPONSE", "LOCK_CLOSE", "", true},
    {113, "LOCK OPEN-CLOSE EVENT RESPONSE", "LOCK_OPEN_CLOSE",
     "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.", true},
    {114, "EVENT ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.", true},
};

TEST(RequestTable, HasOneRowForEachCodeThatClientsSendAndNoOther) {
    for (std::int32_t code = kFirstCodeTried; code <= kLastCodeTried; ++code) {
        const RequestKind* const row = FindRequest(code);
        ASSERT_EQ(row != nullptr, IsSentByClients(static_cast<MuxMessageCodes>(code))) << code;
        EXPECT_TRUE(row == nullptr || row->code == code) << code;
    }
    EXPECT_EQ(FindRequest(std::numeric_limits<std::int32_t>::max()), nullptr);
    EXPECT_EQ(FindRequest(std::numeric_limits<std::int32_t>::min()), nullptr);
    EXPECT_EQ(FindRequest(256 + 10), nullptr);
}

TEST(RequestTable, NamesEachRoutedCodeAsTheLogKnowsIt) {
    for (const ExpectedRequest& expected : kRouted) {
        const RequestKind* const row = FindRequest(expected.code);
        ASSERT_NE(row, nullptr) << expected.code;
        EXPECT_STREQ(row->logName, expected.logName);
        EXPECT_STREQ(row->codeName, expected.codeName);
        EXPECT_STREQ(row->noPayloadText, expected.noPayloadText);
        EXPECT_STREQ(row->unsupportedText, "");
        EXPECT_EQ(row->answersEvent, expected.answersEvent) << expected.code;
        EXPECT_NE(row->operation, GatewayOperation::kNone) << expected.code;
    }
}

TEST(RequestTable, KnowsTheWhitelistGetButCannotDoIt) {
    const RequestKind* const row = FindRequest(20);
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->logName, "WHITELIST GET");
    EXPECT_STREQ(row->unsupportedText, "");
    EXPECT_EQ(row->operation, GatewayOperation::kNone);
}

TEST(RequestTable, KnowsAccessAllowedButCannotDoIt) {
    const RequestKind* const row = FindRequest(50);
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->logName, "");
    EXPECT_STREQ(row->unsupportedText,
                 "Access allowed message received, but it's currently not supported by the Brenk gateway.");
    EXPECT_EQ(row->operation, GatewayOperation::kNone);
}

TEST(RequestTable, ReadsAConfigurationButRoutesItNowhere) {
    const RequestKind* const row = FindRequest(2);
    ASSERT_NE(row, nullptr);
    EXPECT_NE(row->parse, nullptr);
    EXPECT_STREQ(row->logName, "");
    EXPECT_STREQ(row->unsupportedText, "");
    EXPECT_EQ(row->operation, GatewayOperation::kNone);
}

// A client that waits for what a gateway was asked is answered.
TEST(RequestTable, HasAnAnswerExactlyForWhatAGatewayIsAsked) {
    for (const RequestKind* const row : Rows()) {
        EXPECT_EQ(row->operation == GatewayOperation::kNone, row->answer == AnswerKind::kNone) << row->code;
    }
}

TEST(RequestTable, HasForEachOperationTheParserOfItsPayload) {
    for (const RequestKind* const row : Rows()) {
        const auto payload = PayloadOf(*row);
        switch (row->operation) {
            case GatewayOperation::kNone:
                break;
            case GatewayOperation::kOpenCloseLock:
                EXPECT_NE(dynamic_cast<const MuxLockOpenCloseMessagePayload*>(payload.get()), nullptr) << row->code;
                break;
            case GatewayOperation::kAddCard:
            case GatewayOperation::kRemoveCard:
                EXPECT_NE(dynamic_cast<const MuxWhitelistSetPayload*>(payload.get()), nullptr) << row->code;
                break;
            default:
                EXPECT_NE(dynamic_cast<const MuxLockRequestPayload*>(payload.get()), nullptr) << row->code;
        }
    }
}

TEST(RequestTable, HasForAnAnswerToAnEventTheRowOfItsRequestOneHundredCodesBelow) {
    int answersToEvents = 0;
    for (const RequestKind* const row : Rows()) {
        if (row->answersEvent) {
            ++answersToEvents;
            const RequestKind* const request = FindRequest(row->code - 100);
            ASSERT_NE(request, nullptr) << row->code;
            EXPECT_FALSE(request->answersEvent) << row->code;
            EXPECT_EQ(row->parse, request->parse) << row->code;
            EXPECT_EQ(row->operation, request->operation) << row->code;
            EXPECT_EQ(row->answer, request->answer) << row->code;
        }
    }
    EXPECT_EQ(answersToEvents, 4);
}

}  // namespace
}  // namespace Mux
