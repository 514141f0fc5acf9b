// The cutter decides what counts as one answer, so it is tested itself.

#include "tests/support/JsonTextCutter.h"

#include <gtest/gtest.h>

namespace Testing {
namespace {

TEST(JsonTextCutter, CutsObjectsThatFollowOneAnother) {
    JsonTextCutter cutter;
    cutter.Add(R"({"a":{"b":1}}{}{"c)");
    EXPECT_EQ(cutter.Next(), R"({"a":{"b":1}})");
    EXPECT_EQ(cutter.Next(), "{}");
    EXPECT_EQ(cutter.Next(), std::nullopt);
    cutter.Add(R"(":2})");
    EXPECT_EQ(cutter.Next(), R"({"c":2})");
    EXPECT_EQ(cutter.Next(), std::nullopt);
}

TEST(JsonTextCutter, IsNotMisledByBracesAndQuotesInTexts) {
    JsonTextCutter cutter;
    cutter.Add(R"({"a":"}\"}{\\"}{"b":1})");
    EXPECT_EQ(cutter.Next(), R"({"a":"}\"}{\\"})");
    EXPECT_EQ(cutter.Next(), R"({"b":1})");
}

TEST(JsonTextCutter, HandsOutWhatBeginsNoObject) {
    JsonTextCutter cutter;
    cutter.Add(std::string_view("\x10\x00{}", 4));
    EXPECT_EQ(cutter.Next(), std::string("\x10\x00{}", 4));
    cutter.Add(" {}");
    EXPECT_EQ(cutter.Next(), " {}");
}

}  // namespace
}  // namespace Testing
