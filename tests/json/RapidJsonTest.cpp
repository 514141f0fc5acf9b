#include "json/RapidJson.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <climits>
#include <csignal>
#include <string>

#ifndef NDEBUG
#error "this test is about assertions in a build without them"
#endif

namespace Json {
namespace {

using testing::KilledBySignal;

constexpr std::size_t kBrackets = 65000;

rapidjson::Document Parsed(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    return document;
}

TEST(RapidJsonDeathTest, ARequiredMemberThatIsMissingAbortsTheProcess) {
    const rapidjson::Document document = Parsed(R"({"gatewayID":1})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, AValueOfTheWrongTypeAbortsTheProcess) {
    const rapidjson::Document document = Parsed(R"({"lockID":"five"})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, ANumberBeyond32BitsAbortsTheProcess) {
    const rapidjson::Document document = Parsed(R"({"lockID":4294967296})");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJsonDeathTest, AMemberOfWhatIsNoObjectAbortsTheProcess) {
    const rapidjson::Document document = Parsed("[1]");
    EXPECT_EXIT(document["lockID"].GetInt(), KilledBySignal(SIGABRT), "Assertion `.*' failed\\.");
}

TEST(RapidJson, AnAssertionThatHoldsChangesNothing) {
    EXPECT_EQ(Parsed(R"({"lockID":-5})")["lockID"].GetInt(), -5);
}

// What a recursive parser would need hundreds of kilobytes of stack for.
void* ParseBrackets(void* text) {
    const rapidjson::Document document = Parsed(*static_cast<std::string*>(text));
    return document.HasParseError() ? nullptr : text;
}

bool ParsesOnASmallStack(std::string text) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(PTHREAD_STACK_MIN) + 64UL * 1024);
    pthread_t thread = 0;
    EXPECT_EQ(pthread_create(&thread, &attributes, ParseBrackets, &text), 0);
    pthread_attr_destroy(&attributes);
    void* result = nullptr;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    return result != nullptr;
}

TEST(RapidJson, OpeningBracketsAloneAreAParseErrorAndOverflowNoStack) {
    EXPECT_FALSE(ParsesOnASmallStack(std::string(kBrackets, '[')));
}

TEST(RapidJson, DeeplyNestedArraysParseWithoutOverflowingTheStack) {
    EXPECT_TRUE(ParsesOnASmallStack(std::string(kBrackets, '[') + std::string(kBrackets, ']')));
}

}  // namespace
}  // namespace Json
