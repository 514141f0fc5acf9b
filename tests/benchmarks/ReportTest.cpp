#include "benchmarks/load/Report.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

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
        R"({"figures":[{"name":"a \"quoted\" name","value":0.5,"unit":"1/s"},{"name":"b","value":2.0,"unit":""}]})");
}

TEST(ReportTest, LatenciesAreGivenInMillisecondsWithTheirNumber) {
    Samples samples;
    for (int milliseconds = 1; milliseconds <= 200; ++milliseconds) {
        samples.Add(std::chrono::milliseconds(milliseconds));
    }
    Report report;
    report.AddLatencies("x", samples);
    EXPECT_EQ(report.Table(),
              "x median        100.000 ms\n"
              "x p99           198.000 ms\n"
              "x max           200.000 ms\n"
              "x samples       200.000\n");
}

TEST(ReportTest, LatenciesThatWereNotMeasuredAreNoFigures) {
    Report report;
    EXPECT_THROW(report.AddLatencies("x", Samples()), std::logic_error);
    EXPECT_EQ(report.Json(), R"({"figures":[]})");
}

}  // namespace
}  // namespace Load
