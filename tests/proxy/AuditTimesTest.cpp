#include "proxy/audit/AuditTimes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace MuxProxy {
namespace {

using std::chrono::system_clock;

constexpr bool kInUtc = true;

// Local time is that of central Europe.
struct AuditTimesTest : testing::Test {
    AuditTimesTest() { SetZone("CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~AuditTimesTest() override { SetZone("UTC0"); }

    static void SetZone(const char* zone) {
        setenv("TZ", zone, 1);  // NOLINT(concurrency-mt-unsafe): there is one thread
        tzset();
    }

    std::string Read(const std::string& text, bool isUtc = false) const {
        const auto time = ParseAuditTime(text, now, isUtc);
        return time ? ExactTime(*time, kInUtc) : "";
    }

    // 2026-11-20 14:40:12.345 in UTC, an hour later in local time.
    const system_clock::time_point now{std::chrono::milliseconds(1795185612345)};
};

TEST_F(AuditTimesTest, ReadsTimesInLocalTime) {
    EXPECT_EQ(Read("2026-11-20"), "2026-11-19T23:00:00.000Z");
    EXPECT_EQ(Read("2026-11-20 14:30"), "2026-11-20T13:30:00.000Z");
    EXPECT_EQ(Read("2026-11-20 14:30:05"), "2026-11-20T13:30:05.000Z");
    EXPECT_EQ(Read("2026-11-20T14:30:05"), "2026-11-20T13:30:05.000Z");
    EXPECT_EQ(Read("2026-07-01 14:30"), "2026-07-01T12:30:00.000Z");
    EXPECT_EQ(Read("14:30"), "2026-11-20T13:30:00.000Z");
    EXPECT_EQ(Read("today"), "2026-11-19T23:00:00.000Z");
    EXPECT_EQ(Read("yesterday"), "2026-11-18T23:00:00.000Z");
}

TEST_F(AuditTimesTest, TheDayBeforeIsYesterdayAlsoWhenTheClockChanges) {
    const auto at = [](const char* text) { return *ParseAuditTime(text, system_clock::now(), false); };
    for (const auto& [time, yesterday] : {std::pair("2026-03-30 00:30", "2026-03-29"),
                                          {"2026-10-25 23:30", "2026-10-24"},
                                          {"2026-03-01 12:00", "2026-02-28"},
                                          {"2026-01-01 12:00", "2025-12-31"}}) {
        EXPECT_EQ(ReadableTime(*ParseAuditTime("yesterday", at(time), false), false),
                  std::string(yesterday) + " 00:00:00");
    }
}

TEST_F(AuditTimesTest, ReadsTimesInUtc) {
    EXPECT_EQ(Read("2026-11-20 14:30", kInUtc), "2026-11-20T14:30:00.000Z");
    EXPECT_EQ(Read("14:30:05", kInUtc), "2026-11-20T14:30:05.000Z");
    EXPECT_EQ(Read("yesterday", kInUtc), "2026-11-19T00:00:00.000Z");
}

TEST_F(AuditTimesTest, ReadsTimesBeforeNow) {
    EXPECT_EQ(Read("now"), "2026-11-20T14:40:12.345Z");
    EXPECT_EQ(Read("30 seconds ago"), "2026-11-20T14:39:42.345Z");
    EXPECT_EQ(Read("1 minute ago"), "2026-11-20T14:39:12.345Z");
    EXPECT_EQ(Read("2 hours ago"), "2026-11-20T12:40:12.345Z");
    EXPECT_EQ(Read("3 days ago"), "2026-11-17T14:40:12.345Z");
    EXPECT_EQ(Read("1 week ago"), "2026-11-13T14:40:12.345Z");
}

TEST_F(AuditTimesTest, ReadsNothingElse) {
    for (const char* const text :
         {"", "tomorrow", "2026", "2026-11", "2026-11-31", "2026-13-01", "2026-11-20 25:00", "2026-11-20 14:30 x", "14",
          "ago", "2 fortnights ago", "2 hours", "-2 hours ago", "9999999 days ago"}) {
        EXPECT_EQ(Read(text), "") << text;
    }
}

TEST_F(AuditTimesTest, WritesTimes) {
    EXPECT_EQ(ReadableTime(now, false), "2026-11-20 15:40:12");
    EXPECT_EQ(ReadableTime(now, kInUtc), "2026-11-20 14:40:12");
    EXPECT_EQ(ExactTime(now, false), "2026-11-20T15:40:12.345+01:00");
    EXPECT_EQ(ExactTime(system_clock::time_point(std::chrono::milliseconds(-1)), kInUtc), "1969-12-31T23:59:59.999Z");
}

}  // namespace
}  // namespace MuxProxy
