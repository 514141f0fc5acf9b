#include "proxy/rights/Rights.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using Range = NumberSet::Range;

RightSet RightsOf(std::initializer_list<Right> rights) {
    RightSet set;
    for (const Right right : rights) {
        set.set(static_cast<std::size_t>(right));
    }
    return set;
}

Rights ExampleRights() {
    return Rights({
        {{"reception"}, RightsOf({Right::kOpen, Right::kStatus}), NumberSet({{1, 1}}), NumberSet({{5, 7}, {9, 9}})},
        {{"reception", "guard"}, RightsOf({Right::kEvents}), NumberSet::All(), NumberSet({{70000, 70001}})},
    });
}

TEST(Rights, AllowOnlyWhatARuleAllows) {
    const Rights rights = ExampleRights();
    EXPECT_TRUE(rights.Allows("reception", Right::kOpen, {1, 5}));
    EXPECT_TRUE(rights.Allows("reception", Right::kStatus, {1, 9}));
    EXPECT_FALSE(rights.Allows("reception", Right::kOpen, {1, 8})) << "another lock";
    EXPECT_FALSE(rights.Allows("reception", Right::kOpen, {2, 5})) << "another gateway";
    EXPECT_FALSE(rights.Allows("reception", Right::kClose, {1, 5})) << "another operation";
    EXPECT_FALSE(rights.Allows("guard", Right::kOpen, {1, 5})) << "another client";
    EXPECT_FALSE(rights.Allows("recept", Right::kOpen, {1, 5})) << "a part of a name";
    EXPECT_FALSE(Rights().Allows("reception", Right::kOpen, {1, 5})) << "no rules";
}

TEST(Rights, ARightFromOneRuleDoesNotExtendToTheLocksOfAnother) {
    EXPECT_FALSE(ExampleRights().Allows("reception", Right::kOpen, {1, 70000}));
}

TEST(Rights, EventsAreSeenByTheLowBitsOfTheirLock) {
    const Rights rights = ExampleRights();
    EXPECT_TRUE(rights.SeesEvent("guard", 3, 70000 - 65536));
    EXPECT_FALSE(rights.SeesEvent("guard", 3, 4466));
    EXPECT_FALSE(rights.SeesEvent("stranger", 3, 4464));
}

TEST(NumberSet, FindsLowBitsAnywhereInARange) {
    EXPECT_TRUE(NumberSet({{0x1FFFF, 0x20001}}).ContainsLowBits(0));
    EXPECT_TRUE(NumberSet({{0x1FFFF, 0x20001}}).ContainsLowBits(0xFFFF));
    EXPECT_FALSE(NumberSet({{0x1FFFF, 0x20001}}).ContainsLowBits(2));
    EXPECT_TRUE(NumberSet({{-1, -1}}).ContainsLowBits(0xFFFF));
    EXPECT_TRUE(NumberSet::All().ContainsLowBits(0x8000));
    EXPECT_FALSE(NumberSet().ContainsLowBits(0));
}

}  // namespace
}  // namespace MuxProxy
