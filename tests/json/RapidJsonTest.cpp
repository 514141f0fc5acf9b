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

TEST(RapidJsonDeathTest, AValueThatIsMissingOrOfTheWrongTypeOrTooLargeAbortsTheProcess) {
    for (const char* text : {R"({"gatewayID":1})", R"({"lockID":"five"})", R"({"lockID":4294967296})", "[1]"}) {
        const rapidjson::Document document = ParsedJson(text);
        EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.") << text;
    }
    EXPECT_EQ(ParsedJson(R"({"lockID":-5})")["lockID"].GetInt(), -5);
}

TEST(RapidJson, DeeplyNestedArraysAreParsedOrRefusedWithoutOverflowingTheStack) {
    OnASmallStack([] {
        EXPECT_TRUE(ParsedJson(std::string(kBrackets, '[') + std::string(kBrackets, ']')).IsArray());
        rapidjson::Document document;
        document.Parse(std::string(kBrackets, '[').c_str());
        EXPECT_TRUE(document.HasParseError());
    });
}

}  // namespace
}  // namespace Json
