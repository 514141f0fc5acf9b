#include "json/RapidJson.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/json/ParsedJson.h"
#include "tests/support/SmallStack.h"

#ifndef NDEBUG
#error "this test is about assertions in a build without them"
#endif

namespace Json {
namespace {

using testing::KilledBySignal;
using Testing::OnASmallStack;
using Testing::ParsedJson;

constexpr std::size_t kBrackets = 65000;

TEST(RapidJsonDeathTest, ARequiredMemberThatIsMissingAbortsTheProcess) {
    const rapidjson::Document document = ParsedJson(R"({"gatewayID":1})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, AValueOfTheWrongTypeAbortsTheProcess) {
    const rapidjson::Document document = ParsedJson(R"({"lockID":"five"})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, ANumberBeyond32BitsAbortsTheProcess) {
    const rapidjson::Document document = ParsedJson(R"({"lockID":4294967296})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, AMemberOfWhatIsNoObjectAbortsTheProcess) {
    const rapidjson::Document document = ParsedJson("[1]");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJson, AnAssertionThatHoldsChangesNothing) {
    EXPECT_EQ(ParsedJson(R"({"lockID":-5})")["lockID"].GetInt(), -5);
}

TEST(RapidJson, OpeningBracketsAloneAreAParseErrorAndOverflowNoStack) {
    OnASmallStack([] {
        rapidjson::Document document;
        document.Parse(std::string(kBrackets, '[').c_str());
        EXPECT_TRUE(document.HasParseError());
    });
}

TEST(RapidJson, DeeplyNestedArraysParseWithoutOverflowingTheStack) {
    OnASmallStack([] { EXPECT_TRUE(ParsedJson(std::string(kBrackets, '[') + std::string(kBrackets, ']')).IsArray()); });
}

}  // namespace
}  // namespace Json
