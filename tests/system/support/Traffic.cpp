#include "tests/system/support/Traffic.h"

#include <gtest/gtest.h>

#include "tests/docs/support/JsonSchema.h"

namespace SystemTest {

using Documents::JsonSchema;

void ExpectAnswerOrEvent(const std::string& received) {
    if (received.empty() || received.front() != '{') {
        return;
    }
    const std::string asAnswer = JsonSchema::Named("answer").ViolationIn(received);
    const std::string asEvent = asAnswer.empty() ? "" : JsonSchema::Named("event").ViolationIn(received);
    EXPECT_TRUE(asAnswer.empty() || asEvent.empty())
        << received << "\nis no answer: " << asAnswer << "\nand no event: " << asEvent;
}

void ExpectConfiguration(const std::string& text) {
    EXPECT_EQ(JsonSchema::Named("configuration").ViolationIn(text), "") << text;
}

void ExpectRequest(const std::string& text, ByRequestSchema verdict) {
    const std::string violation = JsonSchema::Named("request").ViolationIn(text);
    EXPECT_EQ(violation.empty(), verdict == ByRequestSchema::kFits)
        << text << "\n"
        << (violation.empty() ? "fits the schema" : violation);
}

}  // namespace SystemTest
