#include "diagnostics/ProcessEnd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "diagnostics/SignalHandler.h"
#include "tests/diagnostics/EndingProcess.h"

namespace Diagnostics {
namespace {

using Testing::ChildResult;
using testing::ContainsRegex;
using Testing::EndingProcess;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kCriticalErrors = "Exit for critical errors.\n";

class ProcessEndTest : public testing::Test {
  protected:
    EndingProcess process_;
};

void SayStopped() {
    std::printf("stopped with %d\n", ExitStatus());
    std::fflush(stdout);
}

TEST_F(ProcessEndTest, ACriticalErrorLogsAtErrorStopsTheMuxAndEndsWithStatus1) {
    const ChildResult result = process_.Run([] {
        SetStopHook(SayStopped);
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.output, ContainsRegex(" ERROR .*void Diagnostics::CriticalErrorThresholdReached\\(\\) Exit for "
                                             "critical errors\\.\nstopped with 1\n$"));
}

TEST_F(ProcessEndTest, TheFirstReportOfAnErrorEndsTheProcessWithStatus1BeforeThereIsAMuxToo) {
    for (const ErrorKind kind : {ErrorKind::kSocket, ErrorKind::kConnection}) {
        const ChildResult result = process_.Run([kind] { ErrorGuard::Instance().Report(kind); });
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_THAT(result.output, HasSubstr(kCriticalErrors));
    }
}

TEST_F(ProcessEndTest, ACommonErrorLogsAndEndsWithoutStoppingTheMux) {
    const ChildResult result = process_.Run([] {
        SetStopHook(SayStopped);
        ErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.output, HasSubstr("void Diagnostics::ErrorThresholdReached() Exit for common errors.\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("stopped")));
}

TEST_F(ProcessEndTest, AnEndingKeepsTheStatusThatItBeganWith) {
    EXPECT_EQ(ExitStatus(), 0);
    for (const int status : {0, 1, 255}) {
        const ChildResult result = process_.Run([status] {
            BeginEnding(status, 5);
            EXPECT_TRUE(IsEndingOnThisThread());
            std::thread([] { EXPECT_FALSE(IsEndingOnThisThread()); }).join();
            FinishEnding(RuntimeReports::kWrite);
        });
        EXPECT_EQ(result.exitStatus, status);
    }
}

void SayFlushed() {
    std::printf("flushed\n");
    std::fflush(stdout);
}

TEST_F(ProcessEndTest, AnEndingFlushesTheLogWhenAllIsWritten) {
    const ChildResult result = process_.Run([] {
        SetFlushHook(SayFlushed);
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.output, testing::EndsWith("Exit for critical errors.\nflushed\n"));
}

TEST_F(ProcessEndTest, AThreadInsideTheLoggerDoesNotFlushIt) {
    const ChildResult result = process_.Run([] {
        SetFlushHook(SayFlushed);
        const LogCall inside;
        BeginEnding(255, 5);
        FinishEnding(RuntimeReports::kSkip);
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, Not(HasSubstr("flushed")));
}

TEST_F(ProcessEndTest, AFaultInsideTheStopOfTheMuxEndsWithStatus255) {
    const ChildResult result = process_.Run([] {
        SetStopHook([] { raise(SIGSEGV); });
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 255);
}

// How long a second ending gets the chance to do what it must not. Nothing waits for it when all is well.
constexpr auto kChance = std::chrono::milliseconds(200);

TEST_F(ProcessEndTest, TheFirstEndingWinsOverASignalOnAnotherThread) {
    const ChildResult result = process_.Run([] {
        SetStopHook([] {
            std::thread([] {
                SignalHandler(SIGHUP);
                std::puts("came back");
            }).detach();
            std::this_thread::sleep_for(kChance);
        });
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.output, AllOf(Not(HasSubstr("Kill signal")), Not(HasSubstr("came back"))));
}

TEST_F(ProcessEndTest, TheFirstEndingWinsOverACrashOnAnotherThread) {
    const ChildResult result = process_.Run([] {
        SetStopHook([] {
            std::thread([] { raise(SIGSEGV); }).detach();
            std::this_thread::sleep_for(kChance);
        });
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(process_.GcoreArguments(), "");
}

TEST_F(ProcessEndTest, OfManyEndingsAtTheSameTimeOneHappens) {
    const ChildResult result = process_.Run([] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 8; ++index) {
            threads.emplace_back([] { ErrorGuard::Instance().Report(ErrorKind::kSocket); });
        }
        threads.front().join();
    });
    EXPECT_EQ(result.exitStatus, 1);
    const std::size_t first = result.output.find(kCriticalErrors);
    ASSERT_NE(first, std::string::npos) << result.output;
    EXPECT_EQ(result.output.find(kCriticalErrors, first + 1), std::string::npos) << result.output;
}

TEST_F(ProcessEndTest, AnEndingThatDoesNotGetThroughIsFinishedByTheWatchdog) {
    const auto begin = std::chrono::steady_clock::now();
    const ChildResult result = process_.Run([] {
        SetStopHook([] {
            for (;;) {
                pause();
            }
        });
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

void* EndWhileCancelled(void*) {
    pthread_cancel(pthread_self());
    SetStopHook(pthread_testcancel);
    CriticalErrorThresholdReached();
}

TEST_F(ProcessEndTest, AThreadThatEndsTheProcessCannotBeCancelledOutOfIt) {
    const ChildResult result = process_.Run([] {
        pthread_t thread = 0;
        pthread_create(&thread, nullptr, EndWhileCancelled, nullptr);
        pthread_join(thread, nullptr);
    });
    EXPECT_EQ(result.exitStatus, 1);
}

void* WaitWhileCancelled(void*) {
    pthread_cancel(pthread_self());
    SignalHandler(SIGHUP);
    return nullptr;
}

TEST_F(ProcessEndTest, AThreadThatWaitsForTheEndCannotBeCancelledOutOfIt) {
    const ChildResult result = process_.Run([] {
        SetStopHook([] {
            pthread_t thread = 0;
            pthread_create(&thread, nullptr, WaitWhileCancelled, nullptr);
            timespec chance = {};
            clock_gettime(CLOCK_REALTIME, &chance);
            chance.tv_sec += 1;
            if (pthread_timedjoin_np(thread, nullptr, &chance) == 0) {
                std::puts("came back");
                std::fflush(stdout);
            }
        });
        CriticalErrorThresholdReached();
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.output, Not(HasSubstr("came back")));
}

}  // namespace
}  // namespace Diagnostics
