#include <gtest/gtest.h>

#include <string>

#include "json/Reading.h"

#ifndef NDEBUG
#error "this test is about assertions in a build without them"
#endif

namespace Json {
namespace {

std::string TextOf(const rapidjson::Value& value, const char* name) {
    try {
        return value[name].GetString();
    } catch (const AssertionFailure& failure) {
        return failure.what();
    }
}

TEST(ThrowingAssertion, NamesTheConditionOfAValueOfTheWrongType) {
    rapidjson::Document document;
    ASSERT_TRUE(Parse(R"({"lockID":5})", document));
    EXPECT_EQ(TextOf(document, "lockID"), "Assertion `IsString()' failed.");
}

TEST(ThrowingAssertion, IsThrownForAMissingMemberATooLargeNumberAndWhatIsNoObject) {
    rapidjson::Document document;
    ASSERT_TRUE(Parse(R"({"number":4294967296,"list":[]})", document));
    EXPECT_THROW(document["missing"], AssertionFailure);
    EXPECT_THROW(document["number"].GetInt(), AssertionFailure);
    EXPECT_THROW(FindMember(document["list"], "a"), AssertionFailure);
}

TEST(ThrowingAssertion, LeavesTheDocumentAsItWasForOtherReaders) {
    rapidjson::Document document;
    ASSERT_TRUE(Parse(R"({"lockID":5,"name":"a text that is not kept inline"})", document));
    EXPECT_THROW(document["lockID"].GetBool(), AssertionFailure);
    EXPECT_EQ(TextOf(document, "name"), "a text that is not kept inline");
    ASSERT_TRUE(Parse("[1]", document));
    EXPECT_EQ(document[0].GetInt(), 1);
}

}  // namespace
}  // namespace Json
