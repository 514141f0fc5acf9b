#include "mux/messages/RequestTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

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

// Whether the payload has the class that the operation requires.
bool SuitsOperation(const MuxMessagePayloadBase* payload, GatewayOperation operation) {
    switch (operation) {
        case GatewayOperation::kNone:
            return true;
        case GatewayOperation::kOpenCloseLock:
            return dynamic_cast<const MuxLockOpenCloseMessagePayload*>(payload) != nullptr;
        case GatewayOperation::kAddCard:
        case GatewayOperation::kRemoveCard:
            return dynamic_cast<const MuxWhitelistSetPayload*>(payload) != nullptr;
        default:
            return dynamic_cast<const MuxLockRequestPayload*>(payload) != nullptr;
    }
}

// A client that waits for what a gateway was asked is answered.
TEST(RequestTable, HasForEachOperationAnAnswerAndTheParserOfItsPayload) {
    for (std::int32_t code = kFirstCodeTried; code <= kLastCodeTried; ++code) {
        if (const RequestKind* const row = FindRequest(code)) {
            EXPECT_EQ(row->operation == GatewayOperation::kNone, row->answer == AnswerKind::kNone) << code;
            MuxMessageBuilder builder;
            auto data = Testing::ParsedJson(R"({"gatewayID":3,"lockID":17,"duration":5,"cardData":"0A"})");
            const auto payload = row->parse == nullptr ? nullptr : row->parse(builder, data);
            EXPECT_TRUE(SuitsOperation(payload.get(), row->operation)) << code;
        }
    }
}

TEST(RequestTable, HasForAnAnswerToAnEventTheRowOfItsRequestOneHundredCodesBelow) {
    for (const std::int32_t code : {110, 111, 113, 114}) {
        const RequestKind* const row = FindRequest(code);
        const RequestKind* const request = FindRequest(code - 100);
        EXPECT_TRUE(row->answersEvent) << code;
        EXPECT_FALSE(request->answersEvent) << code;
        EXPECT_EQ(row->parse, request->parse) << code;
        EXPECT_EQ(row->operation, request->operation) << code;
        EXPECT_EQ(row->answer, request->answer) << code;
    }
}

}  // namespace
}  // namespace Mux
