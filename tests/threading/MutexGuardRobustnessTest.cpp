// Guards on copies of POSIX mutexes that are held for real, by this thread, by another and by a dead one. A robust
// mutex stands in a list of its owner's thread, and its copy copies the places in that list; so each test ends the
// thread that used the copies and then looks whether that list was whole.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"
#include "tests/threading/OriginalMutex.h"
#include "threading/Mutex.h"
#include "threading/MutexGuard.h"

namespace Threading {
namespace {

using Testing::CapturedLog;
using Testing::OriginalMutex;

class MutexGuardRobustnessTest : public testing::Test {
  protected:
    // Runs `body` on a thread that holds robust mutexes from before to after it, and ends with them. They must then be
    // known as left by a dead owner, all of them: the thread's list has survived.
    static void RunOnThread(const std::function<void()>& body) {
        Mutex before("before");
        Mutex after("after");
        OriginalMutex heldBefore(before);
        OriginalMutex heldAfter(after);
        std::thread([&] {
            EXPECT_EQ(heldBefore.Lock(), 0);
            body();
            EXPECT_EQ(heldAfter.Lock(), 0);
        }).join();
        EXPECT_TRUE(heldBefore.RecoverFromDeadOwner());
        EXPECT_TRUE(heldAfter.RecoverFromDeadOwner());
    }

    static MutexGuard GuardOf(const pthread_mutex_t& mutex) { return MutexGuard(mutex, "door", false, 0); }

    Mutex mutex_{"door"};
    CapturedLog log_;
};

TEST_F(MutexGuardRobustnessTest, GuardsLeaveNothingBehindOnTheirThread) {
    RunOnThread([this] {
        for (int round = 0; round < 100; ++round) {
            MutexGuard first = GuardOf(mutex_.GetMutex());
            MutexGuard second(first);
            EXPECT_TRUE(first.Lock(5));
            EXPECT_TRUE(second.Lock());
        }
    });
}

TEST_F(MutexGuardRobustnessTest, ACopyOfAMutexHeldByAnotherThreadTimesOutAtOnce) {
    OriginalMutex held(mutex_);
    ASSERT_EQ(held.Lock(), 0);
    const auto begin = std::chrono::steady_clock::now();
    RunOnThread([&] {
        const std::size_t before = log_.Lines().size();
        MutexGuard guard = GuardOf(held.Copy());
        EXPECT_FALSE(guard.Lock(15));
        EXPECT_FALSE(guard.Release());
        EXPECT_EQ(log_.Lines().size(), before + 1);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5)) << "the deadline lies in the past";
    EXPECT_EQ(log_.Count(plog::error, "Mutex door timed out while acquiring lock."), 1);
    EXPECT_EQ(held.Unlock(), 0);
}

TEST_F(MutexGuardRobustnessTest, ACopyOfAMutexHeldByThisThreadIsAlreadyOwnedAndReleasedWithoutTouchingTheOriginal) {
    RunOnThread([this] {
        OriginalMutex held(mutex_);
        EXPECT_EQ(held.Lock(), 0);
        const std::size_t before = log_.Lines().size();
        {
            MutexGuard guard = GuardOf(held.Copy());
            EXPECT_TRUE(guard.Lock(5));
            EXPECT_TRUE(guard.Release());
            EXPECT_TRUE(guard.Lock(5)) << "a released guard is free";
            EXPECT_TRUE(guard.Release());
        }
        EXPECT_EQ(log_.Lines().size(), before + 1);
        EXPECT_EQ(held.TryLock(), EDEADLK) << "it is still held";
        EXPECT_EQ(held.Unlock(), 0);
    });
    EXPECT_EQ(log_.Count(plog::warning, "Mutex door already owned."), 1);
}

TEST_F(MutexGuardRobustnessTest, AnAlreadyOwnedCopyThatIsNeverReleasedLeavesTheOriginalHeld) {
    OriginalMutex held(mutex_);
    RunOnThread([&] {
        EXPECT_EQ(held.Lock(), 0);
        MutexGuard guard = GuardOf(held.Copy());
        EXPECT_TRUE(guard.Lock(5));
    });
    EXPECT_TRUE(held.RecoverFromDeadOwner()) << "it still stood in the list of the thread that has ended";
}

TEST_F(MutexGuardRobustnessTest, WithoutTimeoutACopyOfAMutexHeldByThisThreadIsAnError) {
    RunOnThread([this] {
        OriginalMutex held(mutex_);
        EXPECT_EQ(held.Lock(), 0);
        {
            MutexGuard guard = GuardOf(held.Copy());
            EXPECT_FALSE(guard.Lock());
        }
        EXPECT_EQ(held.Unlock(), 0);
    });
    EXPECT_EQ(log_.Count(plog::error, "Cannot lock for mutex door"), 1);
}

// A copy of a mutex as its owner left it when it ended.
pthread_mutex_t OwnerDead(const Mutex& mutex) {
    OriginalMutex original(mutex);
    std::thread([&original] { EXPECT_EQ(original.Lock(), 0); }).join();
    const pthread_mutex_t left = original.Copy();
    EXPECT_TRUE(original.RecoverFromDeadOwner());
    return left;
}

TEST_F(MutexGuardRobustnessTest, ACopyOfADeadOwnersMutexIsRecoveredAndCanBeUsedOn) {
    const pthread_mutex_t left = OwnerDead(mutex_);
    RunOnThread([&] {
        MutexGuard guard = GuardOf(left);
        EXPECT_TRUE(guard.Lock(5));
        EXPECT_TRUE(guard.Release());
        EXPECT_TRUE(guard.Lock(5)) << "it is consistent now";
    });
    EXPECT_EQ(log_.Count(plog::info, "Mutex owner is dead. Reclaiming consistancy of current mutex"), 1);
    EXPECT_EQ(
        log_.Count(plog::info, "Current mutex door is considered locked as recovered consistancy from dead owner."), 1);
}

TEST_F(MutexGuardRobustnessTest, WithoutTimeoutADeadOwnersMutexIsAnErrorAndNotHeldAfterwards) {
    const pthread_mutex_t left = OwnerDead(mutex_);
    RunOnThread([&] {
        MutexGuard guard = GuardOf(left);
        EXPECT_FALSE(guard.Lock());
        EXPECT_FALSE(guard.Release());
        EXPECT_FALSE(guard.Lock(5)) << "nobody made it consistent, so it is lost";
    });
    EXPECT_EQ(log_.Count(plog::error, "Cannot lock for mutex door"), 1);
    EXPECT_FALSE(log_.Holds(plog::info, "Reclaiming consistancy"));
}

TEST_F(MutexGuardRobustnessTest, ACopyOfALockedGuardHoldsNothing) {
    RunOnThread([this] {
        MutexGuard guard = GuardOf(mutex_.GetMutex());
        EXPECT_TRUE(guard.Lock(5));
        MutexGuard copy(guard);
        EXPECT_FALSE(copy.Release());
        EXPECT_TRUE(copy.Lock(5)) << "its mutex says that this thread owns it";
        copy = guard;
        EXPECT_FALSE(copy.Release());
        EXPECT_TRUE(copy.Lock(5)) << "so does the one that was assigned";
    });
    EXPECT_EQ(log_.Count(plog::warning, "Mutex door already owned."), 2);
}

TEST_F(MutexGuardRobustnessTest, ManyThreadsGuardTheSameMutexAtOnce) {
    Testing::OnThreads(4, [this](int) {
        for (int round = 0; round < 200; ++round) {
            MutexGuard guard = GuardOf(mutex_.GetMutex());
            EXPECT_TRUE(guard.Lock(5));
        }
    });
    EXPECT_TRUE(log_.Lines().empty()) << log_.Text();
}

}  // namespace
}  // namespace Threading
