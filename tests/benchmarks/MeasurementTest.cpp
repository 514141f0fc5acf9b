// The measurements that need no gateway, on a real server, so short that their figures mean nothing.

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "benchmarks/load/IdleMeasurement.h"
#include "benchmarks/load/LatencyMeasurement.h"
#include "benchmarks/load/MemoryMeasurement.h"
#include "benchmarks/load/NeighbourMeasurement.h"
#include "benchmarks/load/Neighbours.h"
#include "benchmarks/load/RateMeasurement.h"
#include "benchmarks/load/StartUpMeasurement.h"
#include "benchmarks/load/ThroughputMeasurement.h"
#include "tests/json/ParsedJson.h"
#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

namespace Load {
namespace {

using std::chrono::milliseconds;
using Testing::Process;

constexpr milliseconds kShort{100};

// Returns -1 when there is no such figure.
double FigureOf(const Report& report, const std::string& name) {
    const rapidjson::Document document = Testing::ParsedJson(report.Json());
    for (const auto& figure : document["figures"].GetArray()) {
        if (figure["name"].GetString() == name) {
            return figure["value"].GetDouble();
        }
    }
    return -1;
}

class MeasurementTest : public testing::Test {
  protected:
    std::vector<std::string> Command() const { return {FLOOR_PATH, std::to_string(port_.Number())}; }

    Testing::ReservedPort port_;
    Target target_{"127.0.0.1", static_cast<std::uint16_t>(port_.Number())};
    Report report_;
};

TEST_F(MeasurementTest, LatencyIsTakenForEveryRequestAfterTheWarmUp) {
    const Process floor(Command());
    const Samples samples = LatencyMeasurement(target_, {kShort, milliseconds(0), 3}).Run();
    EXPECT_GT(samples.Count(), 1U);
    EXPECT_GT(samples.Percentile(1), milliseconds(0));
    EXPECT_LT(samples.Median(), kShort);
}

TEST_F(MeasurementTest, LatenciesBesideNeighboursAreNamedAfterThem) {
    const Process floor(Command());
    NeighbourMeasurement(target_, {kShort, {}}).Run(report_);
    EXPECT_GT(FigureOf(report_, "neighbours: none median"), 0);
    NeighbourMeasurement(target_, {kShort, {2, 1, 0}}).Run(report_);
    EXPECT_GT(FigureOf(report_, "neighbours: 2 silent, 1 trickling samples"), 0);
    EXPECT_EQ(Neighbours::Describe({0, 0, 3}), "3 with short packets");
}

TEST_F(MeasurementTest, NeighboursSeeThatTheServerClosesThem) {
    auto floor = std::make_unique<Process>(Command());
    const Neighbours neighbours(target_, {1, 1, 1});
    EXPECT_TRUE(neighbours.AreAllConnected());
    floor.reset();
    EXPECT_TRUE(Testing::WaitUntil([&] { return !neighbours.AreAllConnected(); }));
}

TEST_F(MeasurementTest, ThroughputCountsAnswersAndCpuTime) {
    const Process floor(Command());
    ThroughputMeasurement(target_, {3, kShort, milliseconds(10), floor.Id()}).Run(report_);
    const double answersPerSecond = FigureOf(report_, "throughput, clients 3");
    EXPECT_GT(answersPerSecond, 10);
    // One answer a pass of a millisecond.
    EXPECT_LE(answersPerSecond, 1100);
    EXPECT_GT(FigureOf(report_, "throughput, clients 3, CPU per answer"), 0);
}

TEST_F(MeasurementTest, EachRateIsAnsweredAndHasItsCpuTimeBesideThatOfTheSilence) {
    const Process floor(Command());
    RateMeasurement(target_, {floor.Id(), {20, 200}, 3 * kShort, milliseconds(10)}).Run(report_);
    const double idle = FigureOf(report_, "rate 0, CPU");
    EXPECT_GT(idle, 0);
    for (const int rate : {20, 200}) {
        const std::string name = "rate " + std::to_string(rate);
        EXPECT_GT(FigureOf(report_, name + ", answers"), 0.5 * rate);
        EXPECT_LT(FigureOf(report_, name + ", answers"), 1.5 * rate);
        const double cpu = FigureOf(report_, name + ", CPU");
        EXPECT_GT(cpu, 0);
        EXPECT_NEAR(FigureOf(report_, name + ", CPU above idle"), cpu - idle, 1e-9);
    }
}

TEST_F(MeasurementTest, IdlingLoopsWakeUp) {
    const Process floor(Command());
    IdleMeasurement(target_, {floor.Id(), {0, 2}, kShort, 2, milliseconds(100)}).Run(report_);
    for (const char* const clients : {"0", "2"}) {
        EXPECT_GT(FigureOf(report_, std::string("idle, clients ") + clients + ", CPU"), 0);
        EXPECT_GT(FigureOf(report_, std::string("idle, clients ") + clients + ", wake-ups"), 10);
    }
    EXPECT_GT(FigureOf(report_, "idle, 2 clients add, CPU"), -100);
    EXPECT_GT(FigureOf(report_, "idle, 2 clients add, wake-ups"), -100);
}

TEST_F(MeasurementTest, MemoryIsLookedAtForEachNumberOfClientsAndAfterTheyLeft) {
    const Process floor(Command());
    MemoryMeasurement(target_, {floor.Id(), {0, 3}, 5, milliseconds(100)}).Run(report_);
    for (const char* const look : {"clients 0", "clients 3", "all clients gone", "after 5 connects"}) {
        EXPECT_GT(FigureOf(report_, std::string("memory, ") + look + ", RSS"), 100) << look;
        EXPECT_GT(FigureOf(report_, std::string("memory, ") + look + ", PSS"), 10) << look;
    }
}

TEST_F(MeasurementTest, EachStartUpIsTimed) {
    const Samples samples = StartUpMeasurement(target_, {Command(), 3}).Run();
    EXPECT_EQ(samples.Count(), 3U);
    EXPECT_GT(samples.Percentile(1), milliseconds(0));
}

TEST_F(MeasurementTest, AStartUpCannotBeTimedWhileAnotherServerHasThePort) {
    const Process floor(Command());
    asio::io_context loop;
    Connect(loop, target_);
    EXPECT_THROW(StartUpMeasurement(target_, {Command(), 1}).Run(), std::runtime_error);
}

}  // namespace
}  // namespace Load
