#include "diagnostics/JsonReading.h"

#include <gtest/gtest.h>

#include <string>

namespace Diagnostics {
namespace {

TEST(ParseJson, TakesAnyValueWithWhiteSpaceAroundIt) {
    for (const char* text : {" \t\r\n{} \n", "[]", "1", "\"x\"", "null"}) {
        rapidjson::Document document;
        EXPECT_TRUE(ParseJson(text, document)) << text;
    }
}

TEST(ParseJson, RefusesWhatStrictJsonDoesNotAllow) {
    for (const char* text : {"",
                             " ",
                             "{",
                             "}",
                             "[1,]",
                             "{\"a\":1,}",
                             "{a:1}",
                             "{'a':1}",
                             "// c\n{}",
                             "/* c */{}",
                             "{}{}",
                             "{} x",
                             "01",
                             "+1",
                             "1.",
                             ".5",
                             "NaN",
                             "Infinity",
                             "tru",
                             "\"\\x\"",
                             "\"a",
                             "\"\\uD800\"",
                             "\xEF\xBB\xBF{}",
                             "1e999"}) {
        rapidjson::Document document;
        document.Parse("[1]");
        EXPECT_FALSE(ParseJson(text, document)) << text;
        EXPECT_TRUE(document.IsNull()) << text;
    }
}

TEST(ParseJson, RefusesANulCharacterWhereverItStands) {
    for (const std::string& text : {std::string("{}\0", 3), std::string("{}\0{}", 5), std::string("\0{}", 3),
                                    std::string("{\0}", 3), std::string("\"a\0b\"", 5)}) {
        rapidjson::Document document;
        EXPECT_FALSE(ParseJson(text, document)) << testing::PrintToString(text);
    }
}

TEST(ParseJson, TakesAnEscapedNulCharacterAsPartOfItsText) {
    rapidjson::Document document;
    ASSERT_TRUE(ParseJson(R"("a\u0000b")", document));
    EXPECT_EQ(std::string(document.GetString(), document.GetStringLength()), std::string("a\0b", 3));
}

TEST(FindMember, GivesTheFirstOfMembersWithTheNameInItsOwnCase) {
    rapidjson::Document document;
    document.Parse(R"({"A":1,"a":2,"a":3})");
    ASSERT_NE(FindMember(document, "a"), nullptr);
    EXPECT_EQ(FindMember(document, "a")->GetInt(), 2);
    EXPECT_EQ(FindMember(document, "b"), nullptr);
}

TEST(FindMemberDeathTest, InAnythingButAnObjectIsAFailedAssertion) {
    for (const char* text : {"[]", "1", "\"x\"", "null", "true"}) {
        rapidjson::Document document;
        document.Parse(text);
        EXPECT_DEATH(FindMember(document, "a"), "Assertion .*IsObject.* failed") << text;
    }
}

}  // namespace
}  // namespace Diagnostics
