#include "proxy/status/StatusRound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "proxy/status/BatteryWatch.h"

namespace MuxProxy {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using Outcome = StatusRound::Outcome;

struct StatusRoundTest : testing::Test {
    static std::vector<MuxClient::LockAddress> Locks(int count) {
        std::vector<MuxClient::LockAddress> locks;
        for (int lock = 1; lock <= count; ++lock) {
            locks.push_back({lock % 2, lock});
        }
        return locks;
    }

    static bool IsAlwaysFree(std::int32_t) { return true; }

    // The lock that is asked at this time, 0 for none, and how it ended.
    static std::int32_t Ask(StatusRound& round, seconds time, Outcome outcome = Outcome::kAnswered) {
        const auto lock = round.Next(Time(time), IsAlwaysFree);
        if (lock) {
            round.Ended(outcome, Time(time));
        }
        return lock ? lock->lock : 0;
    }

    static seconds NextOf(const StatusRound& round) {
        return std::chrono::duration_cast<seconds>(round.NextTime()->time_since_epoch());
    }

    // Lets the round run until then, and returns when which lock was asked.
    static std::vector<std::pair<seconds, std::int32_t>> Run(StatusRound& round, seconds end, Outcome outcome) {
        std::vector<std::pair<seconds, std::int32_t>> asked;
        for (seconds now = NextOf(round); now <= end; now = NextOf(round)) {
            asked.emplace_back(now, Ask(round, now, outcome));
        }
        return asked;
    }
};

using testing::ElementsAre;
using testing::Pair;

TEST_F(StatusRoundTest, IsQuickAtFirstAndThenEven) {
    StatusRound round(Locks(3), hours(6), Time(seconds(0)));
    EXPECT_THAT(Run(round, hours(13), Outcome::kAnswered),
                ElementsAre(Pair(seconds(10), 1), Pair(seconds(20), 2), Pair(seconds(30), 3), Pair(hours(4), 2),
                            Pair(hours(6), 3), Pair(hours(8), 1), Pair(hours(10), 2), Pair(hours(12), 3)));
}

TEST_F(StatusRoundTest, AsksOneLockAtATime) {
    StatusRound round(Locks(2), hours(6), Time(seconds(0)));
    ASSERT_TRUE(round.Next(Time(hours(1)), IsAlwaysFree));
    EXPECT_FALSE(round.Next(Time(hours(1)), IsAlwaysFree));
    EXPECT_FALSE(round.NextTime());
}

TEST_F(StatusRoundTest, LetsClientsGoFirst) {
    StatusRound round(Locks(3), hours(6), Time(seconds(0)));
    const auto onlyEven = [](std::int32_t gateway) { return gateway == 0; };
    EXPECT_EQ(round.Next(Time(hours(1)), onlyEven)->lock, 2);
    round.Ended(Outcome::kAnswered, Time(hours(1)));
    EXPECT_FALSE(round.Next(Time(hours(1)), onlyEven));
    EXPECT_EQ(Ask(round, hours(1)), 1);
}

TEST_F(StatusRoundTest, ALockThatDidNotAnswerTwiceIsLeftOutForADay) {
    StatusRound round(Locks(1), hours(6), Time(seconds(0)));
    EXPECT_THAT(Run(round, hours(70), Outcome::kUnanswered),
                ElementsAre(Pair(seconds(10), 1), Pair(hours(6), 1), Pair(hours(36), 1), Pair(hours(66), 1)));
    EXPECT_EQ(Ask(round, hours(96)), 1);
    EXPECT_THAT(Run(round, hours(110), Outcome::kAnswered), ElementsAre(Pair(hours(102), 1), Pair(hours(108), 1)));
}

TEST_F(StatusRoundTest, AnAnswerExcusesTheQuestionBefore) {
    StatusRound round(Locks(1), hours(6), Time(seconds(0)));
    EXPECT_EQ(Ask(round, seconds(10), Outcome::kUnanswered), 1);
    EXPECT_EQ(Ask(round, hours(6), Outcome::kAnswered), 1);
    EXPECT_EQ(Ask(round, hours(12), Outcome::kUnanswered), 1);
    EXPECT_EQ(NextOf(round), hours(18));
}

TEST_F(StatusRoundTest, WhatReachedNoGatewayIsTriedAgain) {
    StatusRound round(Locks(1), hours(6), Time(seconds(0)));
    EXPECT_THAT(Run(round, seconds(200), Outcome::kNotAsked),
                ElementsAre(Pair(seconds(10), 1), Pair(seconds(70), 1), Pair(seconds(130), 1), Pair(seconds(190), 1)));
}

TEST_F(StatusRoundTest, WithoutLocksNothingIsDue) {
    const StatusRound round({}, hours(6), Time(seconds(0)));
    EXPECT_FALSE(round.NextTime());
}

struct BatteryWatchTest : testing::Test {
    std::string Event(bool isWarning, bool isAlarm) {
        MuxClient::LockStatus status;
        status.batteryWarningLevel = isWarning;
        status.batteryAlarmLevel = isAlarm;
        const std::optional<AuditRow> row = watch.StatusCame({1, 70000}, status);
        return row ? row->kind + " " + row->operation + " " + std::to_string(*row->gateway) + " " +
                         std::to_string(*row->lock)
                   : "";
    }

    BatteryWatch watch;
};

TEST_F(BatteryWatchTest, AWarningIsOneEventUntilItIsOver) {
    EXPECT_EQ(Event(false, false), "");
    EXPECT_EQ(Event(true, false), "event battery-low 1 70000");
    EXPECT_EQ(Event(true, false), "");
    EXPECT_EQ(Event(true, true), "");
    EXPECT_EQ(Event(false, false), "event battery-good 1 70000");
    EXPECT_EQ(Event(false, true), "event battery-low 1 70000");
}

TEST_F(BatteryWatchTest, AWarningFromBeforeIsNotRepeated) {
    AuditRow row;
    row.operation = "battery-low";
    row.gateway = 1;
    row.lock = 70000;
    watch = BatteryWatch({row});
    EXPECT_EQ(Event(true, false), "");
    EXPECT_EQ(Event(false, false), "event battery-good 1 70000");
}

}  // namespace
}  // namespace MuxProxy
