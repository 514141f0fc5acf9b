// What a client can do with the 64 KiB of a packet and nothing but brackets.

#include <gtest/gtest.h>

#include <string>

#include "json/Reading.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tests/support/SmallStack.h"

using Testing::OnASmallStack;

namespace Mux {
namespace {

constexpr int kLevels = 65000;

std::string NestedArrays() {
    return std::string(kLevels, '[') + std::string(kLevels, ']');
}

std::string NestedObjects() {
    std::string text;
    for (int level = 0; level < kLevels; ++level) {
        text += R"({"a":)";
    }
    return text + "1" + std::string(kLevels, '}');
}

TEST(DeepJson, AConfigureMessageIsParsedWrittenBackAndDestroyedOnASmallStack) {
    OnASmallStack([] {
        for (const std::string& nested : {NestedArrays(), NestedObjects()}) {
            const std::string text =
                R"({"Timestamp":0,"MessageID":"deep","MessageCode":2,"Data":{"Gateways":)" + nested + "}}";
            const auto message = MuxMessageBuilder().ParseMessage(text);
            ASSERT_NE(message, nullptr);
            rapidjson::MemoryPoolAllocator<> pool;
            EXPECT_TRUE(message->ToJSON() == text);
            EXPECT_TRUE(message->ToJSON(pool) == text);
            EXPECT_TRUE(message->Payload()->ToJSON() == R"({"Gateways":)" + nested + "}");
        }
    });
}

TEST(DeepJson, AMessageOfAnotherCodeIgnoresNestedMembersThatItDoesNotKnow) {
    OnASmallStack([] {
        const auto message = MuxMessageBuilder().ParseMessage(R"({"MessageCode":10,"Data":{"deep":)" + NestedArrays() +
                                                              R"(,"gatewayID":1,"lockID":2}})");
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->Payload()->ToJSON(), R"({"gatewayID":1,"lockID":2})");
    });
}

TEST(DeepJson, AnswersCarryNestedDataOnASmallStack) {
    OnASmallStack([] {
        rapidjson::Document data;
        ASSERT_TRUE(Json::Parse(NestedArrays(), data));
        MuxMessageBuilder builder;
        const auto ack = builder.BuildMessage(MUX_MESSAGE_ACK, "a", builder.BuildAckPayload(data));
        EXPECT_NE(ack->ToJSON().find(R"("Data":{"Data":)" + NestedArrays() + "}"), std::string::npos);
        const auto nack = builder.BuildMessage(MUX_MESSAGE_NACK, "n", builder.BuildNackPayload(1, "m", data));
        EXPECT_NE(nack->ToJSON().find(R"("Message":"m","Data":)" + NestedArrays() + "}"), std::string::npos);
    });
}

TEST(DeepJson, BracketsThatNobodyClosesAreNoMessage) {
    OnASmallStack([] {
        EXPECT_EQ(MuxMessageBuilder().ParseMessage(std::string(kLevels, '[')), nullptr);
        EXPECT_EQ(MuxMessageBuilder().ParseMessage(std::string(kLevels, '{')), nullptr);
    });
}

}  // namespace
}  // namespace Mux
