#include "tools/gateway-simulator/GatewayStatus.h"

#include <gtest/gtest.h>

namespace Simulator {
namespace {

using std::chrono::seconds;

const Lock::TimePoint kTimeOfStatus = Lock::TimePoint(seconds(100));

TEST(GatewayStatusTest, IsThatOfALockAsItBegins) {
    const LockStatus status = StatusOf(Lock(66, 2), kTimeOfStatus);
    EXPECT_EQ(status.address, 66U);
    EXPECT_EQ(status.state, Lock::State::kClosed);
    EXPECT_EQ(status.batteryStatus, 3U);
    EXPECT_EQ(status.batteryLevel, 3U);
    EXPECT_EQ(status.cards, 0U);
    EXPECT_EQ(status.capacity, 2U);
    EXPECT_TRUE(status.whitelistEnabled);
    EXPECT_FALSE(status.mechanicalActive);
    EXPECT_FALSE(status.batteryWarning);
    EXPECT_FALSE(status.batteryAlarm);
    EXPECT_FALSE(status.eventPending);
}

TEST(GatewayStatusTest, FollowsTheLock) {
    Lock lock(5);
    lock.OpenFor(seconds(5), kTimeOfStatus);
    lock.SetBattery(1, 2);
    lock.EventRaised(14);
    lock.Cards().SetEntries({{0, 0, {1}}, {0, 0, {2}}, {0, 0, {3}}});
    lock.Cards().SetEnabled(false);
    const LockStatus status = StatusOf(lock, kTimeOfStatus);
    EXPECT_EQ(status.state, Lock::State::kOpenUntil);
    EXPECT_EQ(StatusOf(lock, kTimeOfStatus + seconds(5)).state, Lock::State::kClosed);
    EXPECT_EQ(status.batteryStatus, 1U);
    EXPECT_EQ(status.batteryLevel, 2U);
    EXPECT_EQ(status.cards, 3U);
    EXPECT_FALSE(status.whitelistEnabled);
    EXPECT_TRUE(status.eventPending);
}

TEST(GatewayStatusTest, TellsTheFlagsOfALockApart) {
    Lock mechanical(5);
    mechanical.SetFlag(Lock::StatusFlag::kMechanicalActive, true);
    EXPECT_TRUE(StatusOf(mechanical, kTimeOfStatus).mechanicalActive);
    EXPECT_FALSE(StatusOf(mechanical, kTimeOfStatus).batteryWarning);
    Lock warning(5);
    warning.SetFlag(Lock::StatusFlag::kBatteryWarning, true);
    EXPECT_TRUE(StatusOf(warning, kTimeOfStatus).batteryWarning);
    EXPECT_FALSE(StatusOf(warning, kTimeOfStatus).batteryAlarm);
    Lock alarm(5);
    alarm.SetFlag(Lock::StatusFlag::kBatteryAlarm, true);
    EXPECT_TRUE(StatusOf(alarm, kTimeOfStatus).batteryAlarm);
    EXPECT_FALSE(StatusOf(alarm, kTimeOfStatus).mechanicalActive);
}

}  // namespace
}  // namespace Simulator
