#include "mux/RoutingTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>

#include "mux/AnswerBuilder.h"

namespace Mux {
namespace {

struct ExpectedRoute {
    std::int32_t code;
    const char* logName;
    const char* codeName;
    const char* noPayloadText;
    bool isEventResponse;
};

constexpr ExpectedRoute kRouted[] = {
    {10, "LOCK OPEN", "LOCK_OPEN", "", false},
    {11, "LOCK CLOSE", "LOCK_CLOSE", "", false},
    {12, "LOCK GET-STATUS", "LOCK_GETSTATUS",
     "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway.", false},
    {13, "LOCK OPEN-CLOSE", "LOCK_OPEN_CLOSE", "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.",
     false},
    {14, "ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.", false},
    {21, "WHITELIST SET", "LOCK_WHITELIST_SET",
     "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done.", false},
    {22, "WHITELIST CLEAR", "MUX_MESSAGE_CLEAR_WHITELIST", "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr.", false},
    {23, "WHITELIST ENABLE", "MUX_MESSAGE_ENABLE_WHITELIST", "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr.", false},
    {24, "WHITELIST DISABLE", "MUX_MESSAGE_DISABLE_WHITELIST", "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr.",
     false},
    {25, "", "LOCK_WHITELIST_REMOVE", "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done.",
     false},
    {110, "LOCK OPEN EVENT RESPONSE", "LOCK_OPEN", "", true},
    {111, "LOCK CLOSE EVENT RESPONSE", "LOCK_CLOSE", "", true},
    {113, "LOCK OPEN-CLOSE EVENT RESPONSE", "LOCK_OPEN_CLOSE",
     "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.", true},
    {114, "EVENT ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.", true},
};

std::set<std::int32_t> KnownCodes() {
    std::set<std::int32_t> codes = {20, 50};
    for (const ExpectedRoute& route : kRouted) {
        codes.insert(route.code);
    }
    return codes;
}

TEST(RoutingTable, NamesEachRoutedCodeAsTheLogKnowsIt) {
    for (const ExpectedRoute& expected : kRouted) {
        const Route* const route = FindRoute(expected.code);
        ASSERT_NE(route, nullptr) << expected.code;
        EXPECT_EQ(route->messageCode, expected.code);
        EXPECT_STREQ(route->logName, expected.logName);
        EXPECT_STREQ(route->codeName, expected.codeName);
        EXPECT_STREQ(route->noPayloadText, expected.noPayloadText);
        EXPECT_STREQ(route->unsupportedText, "");
        EXPECT_EQ(route->isEventResponse, expected.isEventResponse) << expected.code;
        EXPECT_NE(route->operation, nullptr) << expected.code;
    }
}

TEST(RoutingTable, KnowsTheWhitelistGetButCannotDoIt) {
    const Route* const route = FindRoute(20);
    ASSERT_NE(route, nullptr);
    EXPECT_STREQ(route->logName, "WHITELIST GET");
    EXPECT_STREQ(route->unsupportedText, "");
    EXPECT_EQ(route->operation, nullptr);
}

TEST(RoutingTable, KnowsAccessAllowedButCannotDoIt) {
    const Route* const route = FindRoute(50);
    ASSERT_NE(route, nullptr);
    EXPECT_STREQ(route->logName, "");
    EXPECT_STREQ(route->unsupportedText,
                 "Access allowed message received, but it's currently not supported by the Brenk gateway.");
    EXPECT_EQ(route->operation, nullptr);
}

TEST(RoutingTable, HasNoRowForAnyOtherCode) {
    const std::set<std::int32_t> known = KnownCodes();
    for (std::int32_t code = -200; code <= 400; ++code) {
        EXPECT_EQ(FindRoute(code) != nullptr, known.count(code) == 1) << code;
    }
    EXPECT_EQ(FindRoute(std::numeric_limits<std::int32_t>::max()), nullptr);
    EXPECT_EQ(FindRoute(std::numeric_limits<std::int32_t>::min()), nullptr);
    EXPECT_EQ(FindRoute(256 + 10), nullptr);
}

// What a gateway was asked for has an answer: nobody waits for ever because two tables disagree.
TEST(RoutingTable, RoutesOnlyCodesThatAnAnswerCanBeBuiltFor) {
    for (const std::int32_t code : KnownCodes()) {
        const MuxMessage request(1, "m1", code, {});
        const auto answer = BuildAnswer(request, {}, 1);
        EXPECT_EQ(answer != nullptr, FindRoute(code)->operation != nullptr) << code;
    }
}

}  // namespace
}  // namespace Mux
