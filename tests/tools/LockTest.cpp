#include "tools/gateway-simulator/Lock.h"

#include <gtest/gtest.h>

namespace Simulator {
namespace {

using std::chrono::seconds;

const Lock::TimePoint kNow = Lock::TimePoint(seconds(100));

TEST(LockTest, BeginsClosed) {
    EXPECT_EQ(Lock(5).StateAt(kNow), Lock::State::kClosed);
}

TEST(LockTest, StaysOpenUntilClosed) {
    Lock lock(5);
    lock.Open();
    EXPECT_EQ(lock.StateAt(kNow + seconds(100000)), Lock::State::kOpen);
    lock.CloseAfter(seconds(0), kNow);
    EXPECT_EQ(lock.StateAt(kNow), Lock::State::kClosed);
}

TEST(LockTest, ClosesByItselfAfterItsDuration) {
    Lock lock(5);
    lock.OpenFor(seconds(5), kNow);
    EXPECT_EQ(lock.StateAt(kNow + seconds(4)), Lock::State::kOpenUntil);
    EXPECT_EQ(lock.StateAt(kNow + seconds(5)), Lock::State::kClosed);
}

TEST(LockTest, ClosesAfterADelay) {
    Lock lock(5);
    lock.Open();
    lock.CloseAfter(seconds(3), kNow);
    EXPECT_EQ(lock.StateAt(kNow + seconds(2)), Lock::State::kOpenUntil);
    EXPECT_EQ(lock.StateAt(kNow + seconds(3)), Lock::State::kClosed);
}

TEST(LockTest, IsNotOpenedByADelayedClose) {
    Lock lock(5);
    lock.CloseAfter(seconds(3), kNow);
    EXPECT_EQ(lock.StateAt(kNow), Lock::State::kClosed);
}

TEST(LockTest, IsNotOpenedByADelayedCloseAfterItClosedByItself) {
    Lock lock(5);
    lock.OpenFor(seconds(1), kNow);
    lock.CloseAfter(seconds(9), kNow + seconds(2));
    EXPECT_EQ(lock.StateAt(kNow + seconds(3)), Lock::State::kClosed);
}

TEST(LockTest, ForgetsItsDurationWhenOpenedForGood) {
    Lock lock(5);
    lock.OpenFor(seconds(1), kNow);
    lock.Open();
    EXPECT_EQ(lock.StateAt(kNow + seconds(2)), Lock::State::kOpen);
}

TEST(LockTest, HasABatteryThatIsFullAtFirst) {
    EXPECT_EQ(Lock(5).Status(), (Lock::StatusBytes{0x0F, 0, 0, 0, 0, 0, 0}));
}

TEST(LockTest, PutsBatteryStatusAndLevelIntoTheFirstStatusByte) {
    Lock lock(5);
    lock.SetStatus({0xFF, 1, 2, 3, 4, 5, 6});
    lock.SetBattery(2, 1);
    EXPECT_EQ(lock.Status(), (Lock::StatusBytes{0xF6, 1, 2, 3, 4, 5, 6}));
}

TEST(LockTest, PutsFlagsIntoTheThirdStatusByte) {
    Lock lock(5);
    lock.SetFlag(Lock::StatusFlag::kMechanicalActive, true);
    lock.SetFlag(Lock::StatusFlag::kBatteryWarning, true);
    lock.SetFlag(Lock::StatusFlag::kBatteryAlarm, true);
    lock.SetFlag(Lock::StatusFlag::kBitSix, true);
    EXPECT_EQ(lock.Status().at(2), 0x5C);
    lock.SetFlag(Lock::StatusFlag::kBatteryWarning, false);
    EXPECT_EQ(lock.Status().at(2), 0x54);
}

}  // namespace
}  // namespace Simulator
