#include "threading/MutexGuard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Log.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <system_error>
#include <thread>

#include "tests/support/CapturedLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/threading/PthreadCalls.h"
#include "threading/Mutex.h"

namespace Threading {
namespace {

using Testing::CapturedLog;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::PthreadCalls;

class MutexGuardTest : public testing::Test {
  protected:
    MutexGuard NewGuard() const { return MutexGuard(mutex_.GetMutex(), mutex_.GetName(), false, 0); }

    Mutex mutex_{"door"};
    CapturedLog log_;
};

TEST_F(MutexGuardTest, LockOf5OnALockedGuardReturnsFalseAndChangesNothing) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    const PthreadCalls calls(guard);
    EXPECT_FALSE(guard.Lock(5));
    EXPECT_FALSE(guard.Lock(0));
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, TwoGuardsOfOneMutexAreBothLockedAtTheSameTimeByOneThread) {
    MutexGuard first = NewGuard();
    MutexGuard second = NewGuard();
    EXPECT_TRUE(first.Lock(5));
    EXPECT_TRUE(second.Lock(5));
    EXPECT_TRUE(first.Release());
    EXPECT_TRUE(second.Release());
}

TEST_F(MutexGuardTest, TwoGuardsOfOneMutexAreBothLockedAtTheSameTimeByTwoThreads) {
    MutexGuard first = NewGuard();
    EXPECT_TRUE(first.Lock(5));
    std::thread([this] {
        MutexGuard second = NewGuard();
        EXPECT_TRUE(second.Lock(5));
        EXPECT_TRUE(second.Release());
        EXPECT_TRUE(second.Lock());
    }).join();
    EXPECT_TRUE(first.Release());
}

TEST_F(MutexGuardTest, ReleaseOnAnUnlockedGuardReturnsFalse) {
    MutexGuard guard = NewGuard();
    const PthreadCalls calls(guard);
    EXPECT_FALSE(guard.Release());
    EXPECT_THAT(calls.Names(), IsEmpty());
}

TEST_F(MutexGuardTest, AGuardCanBeLockedAgainAfterItsRelease) {
    MutexGuard guard = NewGuard();
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_TRUE(guard.Release());
    EXPECT_FALSE(guard.Release());
    EXPECT_TRUE(guard.Lock(10));
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, ReleaseReturnsTrueAlsoWhenTheUnlockFails) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    PthreadCalls calls(guard);
    calls.Fail("mutex_unlock", EPERM);
    EXPECT_TRUE(guard.Release());
    EXPECT_FALSE(guard.Release());
    EXPECT_EQ(calls.Count("mutex_unlock"), 1);
}

TEST_F(MutexGuardTest, AGuardIsMadeUnlocked) {
    MutexGuard guard = NewGuard();
    MutexGuard named("door");
    MutexGuard unnamed;
    EXPECT_FALSE(guard.Release());
    EXPECT_FALSE(named.Release());
    EXPECT_FALSE(unnamed.Release());
}

TEST_F(MutexGuardTest, AGuardWithoutAMutexOfItsOwnCanBeLocked) {
    MutexGuard named("window");
    EXPECT_TRUE(named.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex window"), 1);
    MutexGuard unnamed;
    EXPECT_TRUE(unnamed.Lock(5));
}

TEST_F(MutexGuardTest, AGuardWithoutANameHasAnEmptyOne) {
    MutexGuard unnamed;
    EXPECT_TRUE(unnamed.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex "), 1);
}

TEST_F(MutexGuardTest, LockNowWithATimeoutLocksWithIt) {
    std::optional<MutexGuard> guard;
    const PthreadCalls calls(guard);
    guard.emplace(mutex_.GetMutex(), "door", true, 15);
    EXPECT_THAT(calls.Names(), ElementsAre("mutex_timedlock"));
    EXPECT_EQ(calls.Deadline().tv_sec, 15);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_TRUE(guard->Release());
}

TEST_F(MutexGuardTest, LockNowWithATimeoutBelow0LocksWithItToo) {
    std::optional<MutexGuard> guard;
    const PthreadCalls calls(guard);
    guard.emplace(mutex_.GetMutex(), "door", true, -1);
    EXPECT_THAT(calls.Names(), ElementsAre("mutex_lock"));
    EXPECT_THAT(log_.Lines(), IsEmpty()) << "only a lock without time-out is warned of";
    EXPECT_TRUE(guard->Release());
}

TEST_F(MutexGuardTest, WithoutLockNowATimeoutLocksNothing) {
    std::optional<MutexGuard> guard;
    const PthreadCalls calls(guard);
    guard.emplace(mutex_.GetMutex(), "door", false, 5);
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_FALSE(guard->Release());
}

TEST_F(MutexGuardTest, LockNowWithATimeoutOf0LocksWithoutTimeout) {
    MutexGuard guard(mutex_.GetMutex(), "door", true, 0);
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex door"), 1);
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, TheDestructorUnlocksALockedGuard) {
    std::optional<MutexGuard> guard(NewGuard());
    ASSERT_TRUE(guard->Lock(5));
    const PthreadCalls calls(guard);
    guard.reset();
    EXPECT_EQ(calls.Count("mutex_unlock"), 1);
}

TEST_F(MutexGuardTest, TheDestructorUnlocksNothingThatIsNotLocked) {
    std::optional<MutexGuard> guard(NewGuard());
    const PthreadCalls calls(guard);
    guard.reset();
    EXPECT_EQ(calls.Count("mutex_unlock"), 0);
}

TEST_F(MutexGuardTest, ACopyOfAGuardLocksACopyOfItsMutex) {
    MutexGuard guard;
    guard = NewGuard();
    MutexGuard copy(guard);
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_TRUE(copy.Lock(5));
    copy = guard;
    EXPECT_FALSE(copy.Release()) << "an assigned guard holds nothing yet";
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, ACopyCarriesTheNameIntoTheLog) {
    MutexGuard guard;
    guard = NewGuard();
    MutexGuard copy(guard);
    EXPECT_TRUE(copy.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex door"), 1);
}

TEST_F(MutexGuardTest, AssigningAGuardToItselfKeepsItLocked) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    const MutexGuard& itself = guard;
    guard = itself;
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, LockWithoutTimeoutLogsAWarningAndTakesTheMutex) {
    MutexGuard guard = NewGuard();
    const PthreadCalls calls(guard);
    EXPECT_TRUE(guard.Lock());
    EXPECT_THAT(calls.Names(), ElementsAre("mutex_lock"));
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex door"), 1);
    EXPECT_EQ(log_.Lines().size(), 1U);
}

TEST_F(MutexGuardTest, LockWithoutTimeoutOnALockedGuardReturnsAtOnce) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    const PthreadCalls calls(guard);
    EXPECT_TRUE(guard.Lock());
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

// Prints how many calls were made before each line.
class CallCountingAppender : public plog::IAppender {
  public:
    explicit CallCountingAppender(const PthreadCalls& calls) : calls_(calls) {}

    void write(const plog::Record& record) override {
        std::printf("%zu calls, then %s\n", calls_.Names().size(), record.getMessage());
    }

  private:
    const PthreadCalls& calls_;
};

TEST_F(MutexGuardTest, LockWithoutTimeoutLogsBeforeItWaits) {
    const Testing::ChildResult result = Testing::RunInChild(".", [this] {
        MutexGuard guard = NewGuard();
        const PthreadCalls calls(guard);
        plog::get()->addAppender(new CallCountingAppender(calls));
        EXPECT_TRUE(guard.Lock());
    });
    EXPECT_EQ(result.output,
              "0 calls, then bool Threading::MutexGuard::Lock() Requested lock withtout timeout for mutex door\n");
}

class LockResultTest : public MutexGuardTest, public testing::WithParamInterface<int> {};

TEST_P(LockResultTest, WithoutTimeoutIsAnErrorAndLeavesTheGuardUnlocked) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_lock", GetParam());
    EXPECT_FALSE(guard.Lock());
    const auto lines = log_.Lines();
    ASSERT_EQ(lines.size(), 2U) << log_.Text();
    EXPECT_EQ(lines.at(0).first, plog::warning);
    EXPECT_THAT(lines.at(0).second, testing::EndsWith(" Requested lock withtout timeout for mutex door"));
    EXPECT_EQ(lines.at(1).first, plog::error);
    EXPECT_THAT(lines.at(1).second, testing::EndsWith(" Cannot lock for mutex door"));
    EXPECT_FALSE(guard.Release());
}

// EOWNERDEAD gets no special handling without a time-out.
INSTANTIATE_TEST_SUITE_P(Results, LockResultTest,
                         testing::Values(EINVAL, EAGAIN, EDEADLK, ETIMEDOUT, EOWNERDEAD, ENOTRECOVERABLE, EPERM),
                         [](const auto& tested) { return std::string(strerrorname_np(tested.param)); });

TEST_F(MutexGuardTest, TheDeadlineOfATimedLockIsThatManySecondsAfterTheEpoch) {
    for (const int timeout : {5, 10, 15, 1}) {
        MutexGuard guard = NewGuard();
        const PthreadCalls calls(guard);
        EXPECT_TRUE(guard.Lock(timeout));
        EXPECT_THAT(calls.Names(), ElementsAre("mutex_timedlock"));
        EXPECT_EQ(calls.Deadline().tv_sec, timeout);
        EXPECT_EQ(calls.Deadline().tv_nsec, 0);
    }
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(MutexGuardTest, ATimeoutBelow1LocksWithoutDeadline) {
    for (const int timeout : {0, -1, -1000}) {
        MutexGuard guard = NewGuard();
        const PthreadCalls calls(guard);
        EXPECT_TRUE(guard.Lock(timeout));
        EXPECT_THAT(calls.Names(), ElementsAre("mutex_lock"));
    }
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(MutexGuardTest, ATimedLockThatSaysAlreadyOwnedIsLockedWithAWarning) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", EDEADLK);
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_EQ(log_.Count(plog::warning, "Mutex door already owned."), 1);
    EXPECT_EQ(log_.Lines().size(), 1U);
    EXPECT_FALSE(guard.Lock(5)) << "it is locked";
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, ATimedLockThatTimesOutIsAnError) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", ETIMEDOUT);
    EXPECT_FALSE(guard.Lock(5));
    EXPECT_EQ(log_.Count(plog::error, "Mutex door timed out while acquiring lock."), 1);
    EXPECT_EQ(log_.Lines().size(), 1U);
    EXPECT_FALSE(guard.Release());
}

TEST_F(MutexGuardTest, ATimedLockThatFindsADeadOwnerRecoversTheMutex) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", EOWNERDEAD);
    calls.Fail("mutex_consistent", 0);
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_THAT(calls.Names(), ElementsAre("mutex_timedlock", "mutex_consistent"));
    const auto lines = log_.Lines();
    ASSERT_EQ(lines.size(), 2U) << log_.Text();
    EXPECT_EQ(lines.at(0).first, plog::info);
    EXPECT_THAT(lines.at(0).second, testing::EndsWith(" Mutex owner is dead. Reclaiming consistancy of current mutex"));
    EXPECT_EQ(lines.at(1).first, plog::info);
    EXPECT_THAT(
        lines.at(1).second,
        testing::EndsWith(" Current mutex door is considered locked as recovered consistancy from dead owner."));
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, ADeadOwnersMutexThatCannotBeMadeConsistentThrows) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", EOWNERDEAD);
    calls.Fail("mutex_consistent", EINVAL);
    try {
        guard.Lock(5);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
        EXPECT_STREQ(error.what(), "Mutex door: Invalid argument");
    }
    EXPECT_THAT(calls.Names(), ElementsAre("mutex_timedlock", "mutex_consistent", "mutex_unlock"));
    EXPECT_EQ(log_.Count(plog::info, "Mutex owner is dead. Reclaiming consistancy of current mutex"), 1);
    EXPECT_EQ(log_.Lines().size(), 1U) << log_.Text();
    EXPECT_FALSE(guard.Release()) << "it is not locked";
}

TEST_F(MutexGuardTest, AnotherFailureToMakeItConsistentCountsAsRecovered) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", EOWNERDEAD);
    calls.Fail("mutex_consistent", EPERM);
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_TRUE(guard.Release());
}

class TimedLockResultTest : public MutexGuardTest, public testing::WithParamInterface<int> {};

TEST_P(TimedLockResultTest, IsAWarningAndLeavesTheGuardUnlocked) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_timedlock", GetParam());
    EXPECT_FALSE(guard.Lock(5));
    EXPECT_EQ(log_.Count(plog::warning,
                         "Cannot lock mutex. The mutex is already locked and timedout, or there was an error. Mutex "
                         "door"),
              1);
    EXPECT_EQ(log_.Lines().size(), 1U);
    EXPECT_FALSE(guard.Release());
}

INSTANTIATE_TEST_SUITE_P(OtherResults, TimedLockResultTest,
                         testing::Values(EINVAL, EAGAIN, EPERM, EBUSY, ENOTRECOVERABLE),
                         [](const auto& tested) { return std::string(strerrorname_np(tested.param)); });

// The table of results holds for a lock without deadline as well, when it is asked for by a time-out below 1.
TEST_F(MutexGuardTest, ATimeoutBelow1HasTheResultsOfATimedLock) {
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_lock", EDEADLK);
    EXPECT_TRUE(guard.Lock(0));
    EXPECT_EQ(log_.Count(plog::warning, "Mutex door already owned."), 1);
    EXPECT_TRUE(guard.Release());
}

}  // namespace
}  // namespace Threading
