#include "benchmarks/load/Samples.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>

namespace Load {
namespace {

using std::chrono::nanoseconds;

Samples SamplesOf(std::initializer_list<int> times) {
    Samples samples;
    for (const int time : times) {
        samples.Add(nanoseconds(time));
    }
    return samples;
}

TEST(SamplesTest, TheMedianOfAnEvenNumberIsTheLowerOfTheTwoInTheMiddle) {
    EXPECT_EQ(SamplesOf({40, 10, 30, 20}).Median(), nanoseconds(20));
}

TEST(SamplesTest, CountsThoseAboveATime) {
    EXPECT_EQ(SamplesOf({10, 40, 20, 30}).CountAbove(nanoseconds(20)), 2U);
    EXPECT_EQ(SamplesOf({10}).CountAbove(nanoseconds(10)), 0U);
    EXPECT_EQ(Samples().CountAbove(nanoseconds(0)), 0U);
}

TEST(SamplesTest, APercentileIsTheSmallestSampleThatSoManyDoNotExceed) {
    Samples samples;
    for (int time = 1000; time > 0; --time) {
        samples.Add(nanoseconds(time));
    }
    EXPECT_EQ(samples.Percentile(99), nanoseconds(990));
    EXPECT_EQ(samples.Percentile(99.9), nanoseconds(999));
    EXPECT_EQ(samples.Percentile(99.95), nanoseconds(1000));
    EXPECT_EQ(samples.Percentile(0.1), nanoseconds(1));
}

TEST(SamplesTest, APercentileBetweenTwoRanksIsTheHigherOne) {
    EXPECT_EQ(SamplesOf({1, 2, 3}).Percentile(34), nanoseconds(2));
    EXPECT_EQ(SamplesOf({1, 2, 3}).Percentile(99), nanoseconds(3));
}

TEST(SamplesTest, MoreSamplesCountAfterAPercentileWasAskedFor) {
    Samples samples = SamplesOf({5, 1});
    EXPECT_EQ(samples.Max(), nanoseconds(5));
    samples.Add(nanoseconds(9));
    EXPECT_EQ(samples.Max(), nanoseconds(9));
    EXPECT_EQ(samples.Count(), 3U);
}

}  // namespace
}  // namespace Load
