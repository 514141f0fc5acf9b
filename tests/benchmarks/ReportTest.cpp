#include "benchmarks/load/Report.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "json/RapidJson.h"

namespace Load {
namespace {

TEST(ReportTest, TheTableHasOneLineForEachFigureInColumns) {
    Report report;
    report.Add("idle, CPU", 1.25, "ms/s");
    report.Add("samples", 12, "");
    EXPECT_EQ(report.Table(),
              "idle, CPU         1.250 ms/s\n"
              "samples          12.000\n");
}

TEST(ReportTest, TheJsonHoldsNameValueAndUnitInOrder) {
    Report report;
    report.Add("a \"quoted\" name", 0.5, "1/s");
    report.Add("b", 2, "");
    EXPECT_EQ(
        report.Json(),
        R"({"figures":[{"name":"a \"quoted\" name","value":0.5,"unit":"1/s"},{"name":"b","value":2.0,"unit":""}],)"
        R"("distributions":[]})");
}

TEST(ReportTest, LatenciesAreGivenInMillisecondsWithTheirNumber) {
    Samples samples;
    for (int count = 1; count <= 200; ++count) {
        samples.Add(std::chrono::milliseconds(count));
    }
    Report report;
    report.AddLatencies("x", samples);
    EXPECT_EQ(report.Table(),
              "x median        100.000 ms\n"
              "x p99           198.000 ms\n"
              "x max           200.000 ms\n"
              "x samples       200.000\n");
}

TEST(ReportTest, ADistributionHasEveryWholePercentileAndTheTailInMilliseconds) {
    Samples samples;
    for (int tenth = 1; tenth <= 1000; ++tenth) {
        samples.Add(std::chrono::microseconds(100 * tenth));
    }
    Report report;
    report.AddDistribution("x", samples);
    EXPECT_EQ(report.Table(), "");
    rapidjson::Document document;
    document.Parse(report.Json().c_str());
    const auto& distribution = document["distributions"][0];
    EXPECT_STREQ(distribution["name"].GetString(), "x");
    EXPECT_STREQ(distribution["unit"].GetString(), "ms");
    const auto& percents = distribution["percents"];
    ASSERT_EQ(percents.Size(), 102U);
    ASSERT_EQ(distribution["values"].Size(), 102U);
    EXPECT_EQ(percents[0].GetDouble(), 1);
    EXPECT_EQ(percents[98].GetDouble(), 99);
    EXPECT_EQ(percents[99].GetDouble(), 99.5);
    EXPECT_EQ(percents[100].GetDouble(), 99.9);
    EXPECT_EQ(percents[101].GetDouble(), 100);
    // A percentile of these samples is a tenth of a millisecond for each tenth of a percent.
    for (rapidjson::SizeType index = 0; index < 102; ++index) {
        EXPECT_NEAR(distribution["values"][index].GetDouble(), percents[index].GetDouble(), 1e-9);
    }
}

}  // namespace
}  // namespace Load
