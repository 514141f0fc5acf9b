#include "json/Reading.h"

#include <gtest/gtest.h>

#include <string>

namespace Json {
namespace {

TEST(Parse, TakesAnyValueWithWhiteSpaceAroundIt) {
    for (const char* text : {" \t\r\n{} \n", "[]", "1", "\"x\"", "null"}) {
        rapidjson::Document document;
        EXPECT_TRUE(Parse(text, document)) << text;
    }
}

TEST(Parse, RefusesWhatStrictJsonDoesNotAllow) {
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
        EXPECT_FALSE(Parse(text, document)) << text;
        EXPECT_TRUE(document.IsNull()) << text;
    }
}

TEST(Parse, RefusesANulCharacterWhereverItStands) {
    for (const std::string& text : {std::string("{}\0", 3), std::string("{}\0{}", 5), std::string("\0{}", 3),
                                    std::string("{\0}", 3), std::string("\"a\0b\"", 5)}) {
        rapidjson::Document document;
        EXPECT_FALSE(Parse(text, document)) << testing::PrintToString(text);
    }
}

TEST(Parse, TakesAnEscapedNulCharacterAsPartOfItsText) {
    rapidjson::Document document;
    ASSERT_TRUE(Parse(R"("a\u0000b")", document));
    EXPECT_EQ(StringOf(document), std::string("a\0b", 3));
}

double NumberOf(const std::string& text) {
    rapidjson::Document document;
    EXPECT_TRUE(Parse(text, document)) << text;
    return document.IsDouble() ? document.GetDouble() : -1;
}

TEST(Parse, ReadsAnyNegativeExponentAndNothingOverflows) {
    const std::string manyDecimals = "0." + std::string(60000, '0') + "1";
    for (const char* exponent : {"e-99999999", "e-999999999", "e-2147483639", "e-2147483640", "E-2147483648",
                                 "e-99999999999999999999", "e-00000000000000000000999999999999"}) {
        for (const std::string& number :
             {std::string("1"), std::string("1.5"), std::string("0.000000000000000000001"), manyDecimals}) {
            EXPECT_EQ(NumberOf(number + exponent), 0.0) << exponent;
            EXPECT_EQ(NumberOf("-" + number + exponent), 0.0) << exponent;
        }
    }
}

TEST(Parse, KeepsTheValueOfEveryExponentThatMatters) {
    EXPECT_DOUBLE_EQ(NumberOf("1e-1"), 0.1);
    EXPECT_DOUBLE_EQ(NumberOf("25E-1"), 2.5);
    EXPECT_DOUBLE_EQ(NumberOf("2.5e-0000000000000001"), 0.25);
    EXPECT_DOUBLE_EQ(NumberOf("1e-000000000000"), 1.0);
    EXPECT_DOUBLE_EQ(NumberOf("1e-308"), 1e-308);
    EXPECT_DOUBLE_EQ(NumberOf("1e+0000000000000002"), 100.0);
}

TEST(Parse, LeavesWhatLooksLikeAnExponentInATextAsItIs) {
    rapidjson::Document document;
    ASSERT_TRUE(Parse(R"({"1e-9999999999":"\"1e-9999999999\\","b":[1e-9999999999,"e-9999999999"]})", document));
    EXPECT_STREQ(document["1e-9999999999"].GetString(), "\"1e-9999999999\\");
    EXPECT_EQ(document["b"][0].GetDouble(), 0.0);
    EXPECT_STREQ(document["b"][1].GetString(), "e-9999999999");
}

TEST(Parse, StillRefusesABrokenExponentOrText) {
    for (const char* text : {"1e-", "e-9999999999", "1e-9999999999x", "1e--9999999999", "1e-9999999999e-1", "[1e-",
                             "\"1e-9999999999", "\"\\", "\\\"1e-9999999999\""}) {
        rapidjson::Document document;
        EXPECT_FALSE(Parse(text, document)) << text;
    }
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

TEST(StringOfDeathTest, WhatIsNoStringIsAFailedAssertion) {
    EXPECT_DEATH(StringOf(rapidjson::Value(1)), "Assertion .*IsString.* failed");
}

}  // namespace
}  // namespace Json
