#include "threading/Mutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "tests/support/CapturedLog.h"
#include "tests/threading/OriginalMutex.h"
#include "tests/threading/PthreadCalls.h"
#include "threading/MutexGuard.h"

namespace Threading {
namespace {

using Testing::CapturedLog;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::OriginalMutex;
using Testing::PthreadCalls;

TEST(Mutex, IsCreatedErrorCheckingAndRobustOnRequestInThisOrderOfCalls) {
    Mutex robust("m", false, false);
    const auto calls = [](Mutex& mutex, bool isRobust) {
        const PthreadCalls made(mutex);
        EXPECT_TRUE(mutex.Initialize(isRobust));
        return made.Names();
    };
    EXPECT_THAT(calls(robust, true), ElementsAre("mutexattr_init", "mutexattr_settype errorcheck",
                                                 "mutexattr_setrobust robust", "mutex_init with attributes"));
    EXPECT_THAT(calls(robust, true), IsEmpty()) << "it is initialized";
    Mutex plain("m", false, false);
    EXPECT_THAT(calls(plain, false),
                ElementsAre("mutexattr_init", "mutexattr_settype errorcheck", "mutex_init with attributes"));
}

TEST(Mutex, ANewGuardIsNotLockedAndCarriesTheMutexAndItsNameEvenBeyondItsEnd) {
    const CapturedLog log;
    auto mutex = std::make_unique<Mutex>("queueMutex");
    MutexGuard guard = mutex->NewGuard();
    EXPECT_FALSE(guard.Release());
    EXPECT_TRUE(guard.Lock(5));
    EXPECT_TRUE(guard.Release());
    mutex.reset();
    EXPECT_TRUE(guard.Lock());
    EXPECT_EQ(log.Count(plog::warning, "Requested lock withtout timeout for mutex queueMutex"), 1);
}

TEST(Mutex, TheConstructorWithANameInitializesARobustMutexAndLogsIt) {
    const CapturedLog log;
    const Mutex mutex("muxMessageQueueMutex");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U) << log.Text();
    EXPECT_EQ(log.Count(plog::info, "Mutex muxMessageQueueMutex created."), 1);
    EXPECT_THAT(lines.at(1).second, testing::EndsWith(" Mutex initialized in .ctor"));
    EXPECT_EQ(lines.at(1).first, plog::info);
    EXPECT_EQ(mutex.GetName(), "muxMessageQueueMutex");

    // Robust: whoever locks it after its owner's end is told so. Error-checking: its owner is told of a second lock.
    OriginalMutex copy(mutex);
    std::thread([&copy] {
        EXPECT_EQ(copy.Lock(), 0);
        EXPECT_EQ(copy.Lock(), EDEADLK);
    }).join();
    EXPECT_TRUE(copy.RecoverFromDeadOwner());
}

TEST(Mutex, AMutexThatIsNotRobustIsErrorCheckingAllTheSame) {
    const Mutex mutex("m", true, false);
    OriginalMutex copy(mutex);
    EXPECT_EQ(copy.Lock(), 0);
    EXPECT_EQ(copy.Lock(), EDEADLK);
    EXPECT_FALSE(copy.RecoverFromDeadOwner());
    EXPECT_EQ(copy.Unlock(), 0);
}

TEST(Mutex, TheConstructorInitializesNothingUnlessTold) {
    const CapturedLog log;
    Mutex mutex("m", false, true);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_TRUE(mutex.Initialize(true));
    EXPECT_EQ(log.Count(plog::info, "Mutex m created."), 1);
}

TEST(Mutex, ABusyMutexIsSaidToLackPermissionsAndAnInvalidOneHasTwoPoints) {
    for (const auto& [result, text] : {std::pair{EBUSY, "Cannot create mutex. No permissions. Mutex: door"},
                                       std::pair{EINVAL, "Cannot create mutex.. Invalid value. Mutex: door"}}) {
        const CapturedLog log;
        Mutex mutex("door", false, true);
        PthreadCalls calls(mutex);
        calls.Fail("mutex_init with attributes", result);
        EXPECT_FALSE(mutex.Initialize(true));
        EXPECT_EQ(log.Count(plog::error, text), 1) << log.Text();
    }
}

// The running program is seen to write the text of each result.
TEST(Mutex, AFailedCallIsOneErrorAndEndsTheInitializationWhichCanBeRepeated) {
    for (const char* const call : {"mutexattr_init", "mutexattr_settype errorcheck", "mutexattr_setrobust robust",
                                   "mutex_init with attributes"}) {
        for (const int result : {ENOMEM, EINVAL}) {
            const CapturedLog log;
            Mutex mutex("door", false, true);
            {
                PthreadCalls calls(mutex);
                calls.Fail(call, result);
                EXPECT_FALSE(mutex.Initialize(true));
                EXPECT_EQ(calls.Names().back(), call);
            }
            EXPECT_EQ(log.Count(plog::error, "Mutex: door"), 1) << call << '\n' << log.Text();
            EXPECT_EQ(log.Lines().size(), 1U) << log.Text();
            EXPECT_TRUE(mutex.Initialize(true));
            EXPECT_EQ(log.Count(plog::info, "Mutex door created."), 1) << log.Text();
        }
    }
}

TEST(Mutex, ResultsThatAreNotListedCountAsSuccess) {
    for (const auto& [call, result] :
         {std::pair{"mutexattr_settype errorcheck", EPERM}, std::pair{"mutexattr_setrobust robust", ENOTSUP},
          std::pair{"mutex_init with attributes", EFAULT}, std::pair{"mutex_init with attributes", ENOTSUP}}) {
        const CapturedLog log;
        Mutex mutex("door", false, true);
        PthreadCalls calls(mutex);
        calls.Fail(call, result);
        EXPECT_TRUE(mutex.Initialize(true)) << call;
        EXPECT_EQ(log.Count(plog::info, "Mutex door created."), 1);
        EXPECT_EQ(log.Lines().size(), 1U) << log.Text();
    }
}

TEST(Mutex, AFailureInTheConstructorIsLoggedTwice) {
    const CapturedLog log;
    alignas(Mutex) unsigned char place[sizeof(Mutex)];
    PthreadCalls calls(place);
    calls.Fail("mutex_init with attributes", ENOMEM);
    auto* const mutex = new (place) Mutex("door");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines.at(0).second, testing::EndsWith(" Cannot create mutex. No memory. Mutex: door"));
    EXPECT_THAT(lines.at(1).second, testing::EndsWith(" Cannot initialize mutex in .ctor"));
    EXPECT_EQ(lines.at(1).first, plog::error);
    mutex->~Mutex();
}

TEST(Mutex, DestroyAndTheDestructorDestroyTheMutexAndThenItsAttributes) {
    for (const bool isExplicit : {true, false}) {
        std::optional<Mutex> mutex;
        mutex.emplace("door");
        const CapturedLog log;
        const PthreadCalls calls(mutex);
        EXPECT_TRUE(!isExplicit || mutex->Destroy());
        isExplicit ? void() : mutex.reset();
        EXPECT_THAT(calls.Names(), ElementsAre("mutex_destroy", "mutexattr_destroy"));
        const auto lines = log.Lines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_THAT(lines.at(0).second, testing::EndsWith(" Mutex door destroyed."));
        EXPECT_THAT(lines.at(1).second, testing::EndsWith(" Mutex attribute structure for door destroyed."));
    }
}

TEST(Mutex, WhatCannotBeDestroyedIsAnErrorAndTheOtherIsDestroyedAllTheSame) {
    struct Row {
        const char* call;
        const char* error;
        const char* destroyed;
    };
    for (const Row& row :
         {Row{"mutex_destroy", "Error destroying mutex door", "Mutex attribute structure for door destroyed."},
          Row{"mutexattr_destroy", "Error destroying mutex attributes for door", "Mutex door destroyed."}}) {
        Mutex mutex("door");
        const CapturedLog log;
        PthreadCalls calls(mutex);
        calls.Fail(row.call, EBUSY);
        EXPECT_FALSE(mutex.Destroy());
        EXPECT_EQ(log.Count(plog::error, row.error), 1);
        EXPECT_EQ(log.Count(plog::info, row.destroyed), 1);
    }
}

// To destroy a POSIX mutex that does not exist is undefined, so it must not come to that.
TEST(Mutex, WhatDoesNotExistCannotBeDestroyed) {
    std::optional<Mutex> mutex;
    mutex.emplace("door", false, true);
    const CapturedLog log;
    const PthreadCalls calls(mutex);
    EXPECT_FALSE(mutex->Destroy());
    mutex.reset();
    EXPECT_THAT(calls.Names(), IsEmpty());
    EXPECT_EQ(log.Count(plog::error, "Error destroying mutex door"), 2);
    EXPECT_EQ(log.Count(plog::error, "Error destroying mutex attributes for door"), 2);
}

TEST(Mutex, ADestroyedMutexCanBeInitializedAgain) {
    Mutex mutex("door");
    EXPECT_TRUE(mutex.Destroy());
    EXPECT_FALSE(mutex.Destroy());
    EXPECT_TRUE(mutex.Initialize(true));
    EXPECT_TRUE(mutex.Destroy());
}

}  // namespace
}  // namespace Threading
