#include "diagnostics/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Init.h>
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <optional>
#include <thread>

#include "tests/support/CapturedLog.h"
#include "tests/support/ChildProcess.h"

namespace Diagnostics {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(LogCall, IsInProgressOnItsThreadAloneUntilTheOutermostOneEnds) {
    EXPECT_FALSE(LogCall::IsInProgressOnThisThread());
    {
        const LogCall outer;
        { const LogCall inner; }
        EXPECT_TRUE(LogCall::IsInProgressOnThisThread());
        bool inProgress = true;
        bool deferred = true;
        std::thread([&] {
            inProgress = LogCall::IsInProgressOnThisThread();
            deferred = LogCall::Defer(SIGUSR1);
        }).join();
        EXPECT_FALSE(inProgress);
        EXPECT_FALSE(deferred);
    }
    EXPECT_FALSE(LogCall::IsInProgressOnThisThread());
}

int CancelState() {
    int state = -1;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, nullptr);
    return state;
}

TEST(LogCall, HoldsCancellationOffAndLeavesItAsItWas) {
    ASSERT_EQ(CancelState(), PTHREAD_CANCEL_ENABLE);
    {
        const LogCall call;
        EXPECT_EQ(CancelState(), PTHREAD_CANCEL_DISABLE);
    }
    EXPECT_EQ(CancelState(), PTHREAD_CANCEL_ENABLE);

    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    { const LogCall call; }
    EXPECT_EQ(CancelState(), PTHREAD_CANCEL_DISABLE);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

TEST(LogCall, HandsALineToLogger0AsItStands) {
    const Testing::CapturedLog log;
    LogLine line(plog::warning, "void Function()", 7);
    line << "a text";
    LogCall() += line;
    EXPECT_THAT(log.Lines(), ElementsAre(Pair(plog::warning, "void Function() a text")));
}

class TellingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& /*record*/) override {
        std::puts(LogCall::IsInProgressOnThisThread() ? "in progress" : "not in progress");
    }
};

TEST(LogCall, IsInProgressWhenEveryAppenderWrites) {
    const Testing::ChildResult result = Testing::RunInChild(".", [] {
        TellingAppender first;
        TellingAppender second;
        plog::init(plog::info, &first).addAppender(&second);
        LogCall() += LogLine(plog::info, "", 0);
        std::fflush(stdout);
    });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_THAT(result.OutputLines(), ElementsAre("in progress", "in progress"));
}

volatile std::sig_atomic_t raised = 0;
thread_local volatile std::sig_atomic_t raisedHere = 0;

void CountSignal(int) {
    raised = raised + 1;
    raisedHere = raisedHere + 1;
}

class LogCallDeferTest : public testing::Test {
  protected:
    LogCallDeferTest() : previous_(std::signal(SIGUSR1, CountSignal)) {
        raised = 0;
        raisedHere = 0;
    }
    ~LogCallDeferTest() override { std::signal(SIGUSR1, previous_); }

  private:
    void (*const previous_)(int);
};

TEST_F(LogCallDeferTest, PutsNothingOffOutsideTheLogger) {
    EXPECT_FALSE(LogCall::Defer(SIGUSR1));
    { const LogCall call; }
    EXPECT_EQ(raised, 0);
}

TEST_F(LogCallDeferTest, RaisesTheSignalAgainOnThisThreadWhenTheLineIsWritten) {
    {
        const LogCall call;
        EXPECT_TRUE(LogCall::Defer(SIGUSR1));
        EXPECT_EQ(raised, 0);
    }
    { const LogCall next; }
    EXPECT_EQ(raised, 1) << "once";
    EXPECT_EQ(raisedHere, 1);
}

TEST_F(LogCallDeferTest, OfTwoSignalsInOneLineRaisesTheFirst) {
    {
        const LogCall call;
        EXPECT_TRUE(LogCall::Defer(SIGUSR1));
        EXPECT_TRUE(LogCall::Defer(SIGCONT));
    }
    EXPECT_EQ(raised, 1);
}

TEST_F(LogCallDeferTest, WaitsForTheEndOfTheOutermostLine) {
    std::optional<LogCall> outer;
    outer.emplace();
    {
        const LogCall inner;
        EXPECT_TRUE(LogCall::Defer(SIGUSR1));
    }
    EXPECT_EQ(raised, 0);
    outer.reset();
    EXPECT_EQ(raised, 1);
}

void* EndALineWithADeferredSignal(void* raisedThere) {
    {
        const LogCall call;
        LogCall::Defer(SIGUSR1);
    }
    *static_cast<int*>(raisedThere) = raisedHere;
    return nullptr;
}

TEST_F(LogCallDeferTest, ASignalIsOfTheThreadThatPutItOff) {
    int raisedThere = 0;
    {
        const LogCall call;
        pthread_t thread = 0;
        ASSERT_EQ(pthread_create(&thread, nullptr, EndALineWithADeferredSignal, &raisedThere), 0);
        ASSERT_EQ(pthread_join(thread, nullptr), 0);
        EXPECT_EQ(raisedThere, 1);
    }
    EXPECT_EQ(raised, 1) << "it was raised on this thread too";
    EXPECT_EQ(raisedHere, 0);
}

}  // namespace
}  // namespace Diagnostics
