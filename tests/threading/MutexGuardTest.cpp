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
using testing::EndsWith;
using testing::IsEmpty;
using testing::Pair;
using Testing::PthreadCalls;

class MutexGuardTest : public testing::Test {
  protected:
    MutexGuard NewGuard() const { return MutexGuard(mutex_.GetMutex(), mutex_.GetName(), false, 0); }

    Mutex mutex_{"door"};
    CapturedLog log_;
};

TEST_F(MutexGuardTest, ALockedGuardSaysFalseToALockWithATimeoutAndTrueToOneWithoutAndChangesNothing) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    const PthreadCalls calls(guard);
    EXPECT_FALSE(guard.Lock(5));
    EXPECT_FALSE(guard.Lock(0));
    EXPECT_TRUE(guard.Lock());
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, GuardsOfOneMutexAreAllLockedAtTheSameTime) {
    MutexGuard first = NewGuard();
    MutexGuard second = NewGuard();
    EXPECT_TRUE(first.Lock(5));
    EXPECT_TRUE(second.Lock(5));
    std::thread([this] {
        MutexGuard third = NewGuard();
        EXPECT_TRUE(third.Lock(5));
        EXPECT_TRUE(third.Release());
        EXPECT_TRUE(third.Lock());
    }).join();
    EXPECT_TRUE(first.Release());
    EXPECT_FALSE(first.Release());
    EXPECT_TRUE(first.Lock(10));
    EXPECT_TRUE(first.Release());
    EXPECT_TRUE(second.Release());
}

TEST_F(MutexGuardTest, ReleaseOnAnUnlockedGuardReturnsFalse) {
    MutexGuard guard = NewGuard();
    const PthreadCalls calls(guard);
    EXPECT_FALSE(guard.Release());
    EXPECT_THAT(calls.Names(), IsEmpty());
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

TEST_F(MutexGuardTest, AGuardWithoutAMutexOfItsOwnCanBeLocked) {
    MutexGuard named("window");
    EXPECT_FALSE(named.Release());
    EXPECT_TRUE(named.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex window"), 1);
    MutexGuard unnamed;
    EXPECT_FALSE(unnamed.Release());
    EXPECT_TRUE(unnamed.Lock(5));
    EXPECT_TRUE(unnamed.Release());
    EXPECT_TRUE(unnamed.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex "), 1);
}

// A guard that locks at once: its time-out and the call that it makes.
struct LockNow {
    int timeout;
    const char* call;
    int lines;  // only a lock without time-out is warned of
};

TEST_F(MutexGuardTest, LockNowLocksWithItsTimeout) {
    for (const LockNow& row :
         {LockNow{15, "mutex_timedlock", 0}, LockNow{-1, "mutex_lock", 0}, LockNow{0, "mutex_lock", 1}}) {
        std::optional<MutexGuard> guard;
        const PthreadCalls calls(guard);
        guard.emplace(mutex_.GetMutex(), "door", true, row.timeout);
        EXPECT_THAT(calls.Names(), ElementsAre(row.call));
        EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex door"), row.lines);
        EXPECT_TRUE(guard->Release());
    }
}

TEST_F(MutexGuardTest, WithoutLockNowATimeoutLocksNothing) {
    std::optional<MutexGuard> guard;
    const PthreadCalls calls(guard);
    guard.emplace(mutex_.GetMutex(), "door", false, 5);
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_FALSE(guard->Release());
}

TEST_F(MutexGuardTest, TheDestructorUnlocksAGuardThatIsLocked) {
    for (const bool isLocked : {true, false}) {
        std::optional<MutexGuard> guard(NewGuard());
        EXPECT_TRUE(!isLocked || guard->Lock(5));
        const PthreadCalls calls(guard);
        guard.reset();
        EXPECT_EQ(calls.Count("mutex_unlock"), isLocked ? 1 : 0);
    }
}

TEST_F(MutexGuardTest, ACopyOfAGuardLocksACopyOfItsMutexUnderItsName) {
    MutexGuard guard;
    guard = NewGuard();
    MutexGuard copy(guard);
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_TRUE(copy.Lock());
    EXPECT_EQ(log_.Count(plog::warning, "Requested lock withtout timeout for mutex door"), 1);
    copy = guard;
    EXPECT_FALSE(copy.Release()) << "an assigned guard holds nothing yet";
    EXPECT_TRUE(guard.Release());
}

TEST_F(MutexGuardTest, AssigningAGuardToItselfKeepsItLocked) {
    MutexGuard guard = NewGuard();
    ASSERT_TRUE(guard.Lock(5));
    const MutexGuard& itself = guard;
    guard = itself;
    EXPECT_TRUE(guard.Release());
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

// EOWNERDEAD gets no special handling without a time-out.
TEST_F(MutexGuardTest, AnyFailureOfALockWithoutTimeoutIsAnErrorAndLeavesTheGuardUnlocked) {
    int failures = 0;
    for (const int result : {EINVAL, EAGAIN, EDEADLK, ETIMEDOUT, EOWNERDEAD, ENOTRECOVERABLE, EPERM}) {
        MutexGuard guard = NewGuard();
        PthreadCalls calls(guard);
        calls.Fail("mutex_lock", result);
        EXPECT_FALSE(guard.Lock()) << result;
        EXPECT_FALSE(guard.Release()) << result;
        EXPECT_EQ(log_.Count(plog::error, "Cannot lock for mutex door"), ++failures);
    }
    EXPECT_EQ(log_.Lines().size(), 2U * static_cast<std::size_t>(failures)) << log_.Text();
}

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

TEST_F(MutexGuardTest, ATimedLockThatFindsADeadOwnerRecoversTheMutex) {
    for (const int consistent : {0, EPERM}) {
        MutexGuard guard = NewGuard();
        PthreadCalls calls(guard);
        calls.Fail("mutex_timedlock", EOWNERDEAD);
        calls.Fail("mutex_consistent", consistent);
        EXPECT_TRUE(guard.Lock(5));
        EXPECT_THAT(calls.Names(), ElementsAre("mutex_timedlock", "mutex_consistent"));
        EXPECT_TRUE(guard.Release());
    }
    const auto reclaiming = Pair(plog::info, EndsWith(" Mutex owner is dead. Reclaiming consistancy of current mutex"));
    const auto recovered = Pair(
        plog::info, EndsWith(" Current mutex door is considered locked as recovered consistancy from dead owner."));
    EXPECT_THAT(log_.Lines(), ElementsAre(reclaiming, recovered, reclaiming, recovered));
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

TEST_F(MutexGuardTest, AnyOtherFailureOfATimedLockIsAWarningAndLeavesTheGuardUnlocked) {
    int failures = 0;
    for (const int result : {EINVAL, EAGAIN, EPERM, EBUSY, ENOTRECOVERABLE}) {
        MutexGuard guard = NewGuard();
        PthreadCalls calls(guard);
        calls.Fail("mutex_timedlock", result);
        EXPECT_FALSE(guard.Lock(5)) << result;
        EXPECT_FALSE(guard.Release()) << result;
        EXPECT_EQ(log_.Count(plog::warning,
                             "Cannot lock mutex. The mutex is already locked and timedout, or there was an error. "
                             "Mutex door"),
                  ++failures);
    }
    EXPECT_EQ(log_.Lines().size(), static_cast<std::size_t>(failures)) << log_.Text();
}

// The table of results holds for a lock without deadline as well, when it is asked for by a time-out below 1.
TEST_F(MutexGuardTest, ATimeoutBelow1HasTheResultsOfATimedLock) {
    {
        MutexGuard guard = NewGuard();
        PthreadCalls calls(guard);
        calls.Fail("mutex_lock", EDEADLK);
        EXPECT_TRUE(guard.Lock(0));
        EXPECT_FALSE(guard.Lock(5)) << "it is locked";
        EXPECT_EQ(log_.Count(plog::warning, "Mutex door already owned."), 1);
        EXPECT_EQ(log_.Lines().size(), 1U) << log_.Text();
        EXPECT_TRUE(guard.Release());
    }
    MutexGuard guard = NewGuard();
    PthreadCalls calls(guard);
    calls.Fail("mutex_lock", EOWNERDEAD);
    calls.Fail("mutex_consistent", 0);
    EXPECT_TRUE(guard.Lock(0));
    EXPECT_TRUE(log_.Holds(plog::info, "Reclaiming consistancy"));
    EXPECT_TRUE(guard.Release());
}

}  // namespace
}  // namespace Threading
