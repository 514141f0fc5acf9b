#include "proxy/mqtt/UsedNumbers.h"

#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using std::chrono::seconds;
using Use = UsedNumbers::Use;

WallTime Second(int second) {
    return WallTime(seconds(second));
}

TEST(UsedNumbersTest, TakesEachNumberOfAKeyOnce) {
    UsedNumbers numbers(Second(0), seconds(30));
    EXPECT_EQ(numbers.Take("reception", "1", Second(100), Second(100)), Use::kFirst);
    EXPECT_EQ(numbers.Take("cleaning", "1", Second(100), Second(100)), Use::kFirst);
    EXPECT_EQ(numbers.Take("reception", "2", Second(100), Second(100)), Use::kFirst);
    EXPECT_EQ(numbers.Take("reception", "1", Second(100), Second(100)), Use::kReplay);
    EXPECT_EQ(numbers.Take("reception", "1", Second(101), Second(130)), Use::kReplay);
}

TEST(UsedNumbersTest, TakesNothingFromBeforeItsStart) {
    UsedNumbers numbers(Second(100), seconds(30));
    EXPECT_EQ(numbers.Take("reception", "1", Second(100), Second(101)), Use::kTooOld);
    EXPECT_EQ(numbers.Take("reception", "1", Second(101), Second(101)), Use::kFirst);
}

TEST(UsedNumbersTest, TakesNothingForgottenWhenTheClockIsSetBack) {
    UsedNumbers numbers(Second(0), seconds(30));
    numbers.Take("reception", "1", Second(100), Second(100));
    numbers.Take("reception", "2", Second(200), Second(200));
    EXPECT_EQ(numbers.Take("reception", "1", Second(100), Second(105)), Use::kTooOld);
    EXPECT_EQ(numbers.Take("reception", "2", Second(200), Second(105)), Use::kReplay);
    EXPECT_EQ(numbers.Take("reception", "3", Second(101), Second(105)), Use::kFirst);
}

TEST(UsedNumbersTest, ItsFloorOnlyRises) {
    UsedNumbers numbers(Second(100), seconds(30));
    numbers.RaiseFloor(Second(110));
    numbers.RaiseFloor(Second(105));
    EXPECT_EQ(numbers.Take("reception", "1", Second(110), Second(111)), Use::kTooOld);
    EXPECT_EQ(numbers.Take("reception", "1", Second(111), Second(111)), Use::kFirst);
}

TEST(UsedNumbersTest, KeepsNumbersOfClocksThatAreAhead) {
    UsedNumbers numbers(Second(0), seconds(30));
    numbers.Take("reception", "1", Second(105), Second(100));
    EXPECT_EQ(numbers.Take("reception", "1", Second(105), Second(135)), Use::kReplay);
}

TEST(UsedNumbersTest, HasABound) {
    UsedNumbers numbers(Second(0), seconds(30));
    for (std::size_t number = 0; number < UsedNumbers::kMost; ++number) {
        ASSERT_EQ(numbers.Take("reception", std::to_string(number), Second(100), Second(100)), Use::kFirst);
    }
    EXPECT_EQ(numbers.Take("reception", "more", Second(100), Second(130)), Use::kTooMany);
    EXPECT_EQ(numbers.Take("reception", "5", Second(100), Second(130)), Use::kReplay);
    EXPECT_EQ(numbers.Take("reception", "more", Second(131), Second(131)), Use::kFirst);
}

}  // namespace
}  // namespace MuxProxy
