#include "threading/Thread.h"

#include <cxxabi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "diagnostics/Log.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WaitUntil.h"
#include "tests/threading/PthreadCalls.h"
#include "tests/threading/Unwinding.h"
#include "threading/CatchAll.h"

namespace Threading {
namespace {

using Testing::CapturedLog;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::PthreadCalls;
using Testing::Unwinding;
using Testing::WaitUntil;

// The argument of both takes the ID that the thread has in the kernel.
void* ReturnAtOnce(void* argument) {
    *static_cast<std::atomic<int>*>(argument) = gettid();
    return nullptr;
}

void* ExitAtOnce(void* argument) {
    *static_cast<std::atomic<int>*>(argument) = gettid();
    pthread_exit(nullptr);
}

// A cancellation point that waits in no call: ThreadSanitizer goes blind in a thread that is unwound out of one.
void LetCancel() {
    pthread_testcancel();
    std::this_thread::yield();
}

void* WaitForCancellation(void*) {
    const Unwinding counter;
    for (;;) {
        LetCancel();
    }
}

// As the loops of the program: everything is caught, and cancellation passes.
LETS_CANCELLATION_PASS void* WaitInsideACatchAll(void*) {
    const Unwinding counter;
    for (;;) {
        try {
            LetCancel();
        } catch (abi::__forced_unwind&) {
            MUX_LOG(plog::info) << "unwinding";
            throw;
        } catch (...) {
            ++Unwinding::caught;
        }
    }
}

class ThreadTest : public testing::Test {
  protected:
    ThreadTest() { Unwinding::Reset(); }

    static void StartWaiting(Thread& thread) {
        ASSERT_TRUE(thread.Start(nullptr));
        ASSERT_TRUE(WaitUntil([] { return Unwinding::begun == 1; }));
    }

    // Starts a thread and waits, without joining it, until the kernel knows it no more.
    void StartAndLetEnd(Thread& thread) {
        ASSERT_TRUE(thread.Start(&ran_));
        ASSERT_TRUE(WaitUntil(
            [this] { return ran_ != 0 && !std::filesystem::exists("/proc/self/task/" + std::to_string(ran_)); }));
    }

    std::atomic<int> ran_{0};
};

TEST_F(ThreadTest, StartWithoutAProcedureReturnsFalseAndStartsNothing) {
    const PthreadCalls calls;
    Thread thread(nullptr);
    EXPECT_FALSE(thread.Start(nullptr));
    EXPECT_FALSE(thread.Join());
    thread.Cancel();
    { const Thread neverStarted(ReturnAtOnce); }
    EXPECT_THAT(calls.Names(), IsEmpty());
}

TEST_F(ThreadTest, StartRunsTheProcedureWithItsArgumentOnAThreadWithDefaultAttributes) {
    const PthreadCalls calls;
    Thread thread(ReturnAtOnce);
    EXPECT_TRUE(thread.Start(&ran_));
    EXPECT_TRUE(thread.Join());
    EXPECT_NE(ran_, 0);
    EXPECT_THAT(calls.Names(), ElementsAre("create", "join"));
}

TEST_F(ThreadTest, StartReturnsFalseWhenTheThreadCannotBeCreated) {
    PthreadCalls calls;
    calls.Fail("create", EAGAIN);
    {
        Thread thread(ReturnAtOnce);
        EXPECT_FALSE(thread.Start(&ran_));
        EXPECT_FALSE(thread.Join());
    }
    EXPECT_THAT(calls.Names(), ElementsAre("create"));
    EXPECT_EQ(ran_, 0);
}

// A thread that ends when it is being joined.
struct Joined {
    const CapturedLog log;
    std::atomic<pthread_t> handle{0};
    std::atomic<bool> sawLine{false};
    std::atomic<bool> ended{false};
};

void* EndWhenJoined(void* argument) {
    auto* const joined = static_cast<Joined*>(argument);
    joined->handle = pthread_self();
    joined->sawLine = joined->log.WaitFor(plog::verbose, "Waiting for join thrad ID ");
    joined->ended = true;
    pthread_exit(nullptr);
}

TEST_F(ThreadTest, JoinLogsTheHandleAtVerboseAndThenWaitsForTheEnd) {
    Joined joined;
    Thread thread(EndWhenJoined);
    ASSERT_TRUE(thread.Start(&joined));
    EXPECT_TRUE(thread.Join());
    EXPECT_TRUE(joined.sawLine) << "it is logged before it is waited for";
    EXPECT_TRUE(joined.ended);
    const auto lines = joined.log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines.at(0).first, plog::verbose);
    EXPECT_EQ(lines.at(0).second,
              "bool Threading::Thread::Join() Waiting for join thrad ID " + std::to_string(joined.handle));
}

TEST_F(ThreadTest, AThreadThatCouldNotBeJoinedCanBeJoinedLater) {
    const CapturedLog log;
    Thread thread(ReturnAtOnce);
    ASSERT_TRUE(thread.Start(&ran_));
    {
        PthreadCalls calls;
        calls.Fail("join", EDEADLK);
        EXPECT_FALSE(thread.Join());
        EXPECT_THAT(calls.Names(), ElementsAre("join"));
    }
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(log.Lines().size(), 2U) << log.Text();
}

TEST_F(ThreadTest, JoinReturnsFalseForAThreadThatWasNotStartedOrWasJoined) {
    const CapturedLog log;
    Thread thread(ReturnAtOnce);
    EXPECT_FALSE(thread.Join());
    ASSERT_TRUE(thread.Start(&ran_));
    EXPECT_FALSE(thread.Start(&ran_)) << "it is started once";
    EXPECT_TRUE(thread.Join());
    EXPECT_FALSE(thread.Join());
    EXPECT_EQ(log.Lines().size(), 1U);
}

TEST_F(ThreadTest, DestroyingAStartedNeverJoinedThreadDetachesAndCancelsIt) {
    std::optional<Thread> thread(WaitForCancellation);
    StartWaiting(*thread);
    const PthreadCalls calls;
    thread.reset();
    EXPECT_EQ(calls.Count("detach"), 1);
    EXPECT_EQ(calls.Count("cancel"), 1);
    EXPECT_TRUE(WaitUntil([] { return Unwinding::unwound == 1; })) << "its stack was not unwound";
}

TEST_F(ThreadTest, DestroyingAJoinedThreadNeitherDetachesNorCancels) {
    std::optional<Thread> thread(ReturnAtOnce);
    ASSERT_TRUE(thread->Start(&ran_));
    ASSERT_TRUE(thread->Join());
    const PthreadCalls calls;
    thread->Cancel();
    thread.reset();
    EXPECT_THAT(calls.Names(), IsEmpty());
}

TEST_F(ThreadTest, DestroyingAThreadThatHasEndedDetachesAndDoesNotCancelIt) {
    for (const Thread::Procedure procedure : {ReturnAtOnce, ExitAtOnce}) {
        ran_ = 0;
        std::optional<Thread> thread(procedure);
        StartAndLetEnd(*thread);
        const PthreadCalls calls;
        thread->Cancel();
        thread.reset();
        EXPECT_THAT(calls.Names(), ElementsAre("detach"));
    }
}

TEST_F(ThreadTest, CancelUnwindsTheThreadAndForgetsItsHandle) {
    Thread thread(WaitForCancellation);
    StartWaiting(thread);
    const PthreadCalls calls;
    thread.Cancel();
    EXPECT_TRUE(WaitUntil([] { return Unwinding::unwound == 1; }));
    const CapturedLog log;
    EXPECT_FALSE(thread.Join());
    thread.Cancel();
    EXPECT_EQ(calls.Count("cancel"), 1);
    EXPECT_EQ(calls.Count("join"), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ThreadTest, AThreadThatCouldNotBeCancelledKeepsItsHandle) {
    Thread thread(ReturnAtOnce);
    ASSERT_TRUE(thread.Start(&ran_));
    {
        PthreadCalls calls;
        calls.Fail("cancel", ESRCH);
        thread.Cancel();
        EXPECT_EQ(calls.Count("detach"), 0);
    }
    EXPECT_TRUE(thread.Join());
}

TEST_F(ThreadTest, CancellationPassesACatchAllThatLetsForcedUnwindingPass) {
    const CapturedLog log;
    {
        Thread thread(WaitInsideACatchAll);
        StartWaiting(thread);
    }
    EXPECT_TRUE(WaitUntil([] { return Unwinding::unwound == 1; }));
    EXPECT_EQ(Unwinding::caught, 0);
    EXPECT_TRUE(log.Holds(plog::info, "unwinding"));
}

TEST_F(ThreadTest, ManyThreadsThatAreDestroyedAtOnceAllUnwind) {
    constexpr int kThreads = 20;
    for (int index = 0; index < kThreads; ++index) {
        Thread thread(WaitForCancellation);
        ASSERT_TRUE(thread.Start(nullptr));
        ASSERT_TRUE(WaitUntil([&] { return Unwinding::begun == index + 1; }));
    }
    EXPECT_TRUE(WaitUntil([] { return Unwinding::unwound == kThreads; }));
}

}  // namespace
}  // namespace Threading
