#include "diagnostics/SignalHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Init.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "diagnostics/Log.h"
#include "tests/diagnostics/EndingProcess.h"
#include "tests/support/CapturedLog.h"

namespace Diagnostics {
namespace {

using Testing::ChildResult;
using testing::ContainsRegex;
using Testing::EndingProcess;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kTermination = "Termination signal received. Closing Mux.\n";
constexpr const char* kKill = "Kill signal received. Terminating mux.\n";
constexpr const char* kCrash = "Received aborting or error signal. Try to save a dump file. Closing the Mux process.\n";

class SignalHandlerTest : public testing::Test {
  protected:
    EndingProcess process_;
};

TEST_F(SignalHandlerTest, SigkillIsHandledLikeSighup) {
    const ChildResult result = process_.Run([] { SignalHandler(SIGKILL); });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output,
                ContainsRegex(" WARN  .*void Diagnostics::SignalHandler\\(int\\) Kill signal received\\. "
                              "Terminating mux\\.\n$"));
    EXPECT_EQ(process_.GcoreArguments(), "");
}

class CrashSignalTest : public SignalHandlerTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Signals, CrashSignalTest, testing::Values(SIGABRT, SIGBUS, SIGSEGV),
                         [](const auto& tested) { return std::string(sigabbrev_np(tested.param)); });

TEST_F(SignalHandlerTest, TheDumpIsMadeBetweenItsLinesAndTheBacktrace) {
    process_.UseGcore("#!/bin/sh\necho dumping\n");
    const ChildResult result = process_.Run([] { raise(SIGABRT); });
    EXPECT_TRUE(result.HasInOrder(
        {kCrash, "Command line:gcore -o mux-", "\ndumping\n", "Obtaining stack trace for current SIG.\n"}))
        << result.output;
}

TEST_F(SignalHandlerTest, ARealMemoryFaultOfAnyThreadTakesTheCrashPath) {
    const ChildResult result = process_.Run([] {
        std::thread([] {
            auto* const forbidden =
                static_cast<volatile char*>(mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
            *forbidden = 1;
        }).join();
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, HasSubstr(kCrash));
}

TEST(SignalHandlerIgnoring, SignalsAbove11AndOthersUpTo11DoNothing) {
    const Testing::CapturedLog log;
    for (const int ignored : {-1, 0, SIGINT, SIGILL, SIGTRAP, SIGFPE, SIGUSR1, 12, SIGPIPE, SIGTERM, SIGRTMIN, 1000}) {
        SignalHandler(ignored);
    }
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST_F(SignalHandlerTest, WithoutALoggerOrBelowTheSeverityOfTheLineTheProcessEndsWithoutIt) {
    struct Row {
        int signalNumber;
        int status;
        plog::Severity below;
    };
    for (const Row& row :
         {Row{SIGQUIT, 0, plog::warning}, Row{SIGHUP, 255, plog::error}, Row{SIGABRT, 255, plog::fatal}}) {
        for (const std::optional<plog::Severity>& severity :
             {std::optional<plog::Severity>(), std::optional(row.below)}) {
            const EndingProcess process;
            const ChildResult result = process.Run([&row] { raise(row.signalNumber); }, severity);
            EXPECT_EQ(result.exitStatus, row.status);
            EXPECT_EQ(result.output, "");
            EXPECT_EQ(process.GcoreArguments().empty(), row.signalNumber != SIGABRT);
        }
    }
}

TEST_F(SignalHandlerTest, AtTheSeverityOfTheLineItIsWritten) {
    EXPECT_THAT(process_.Run([] { raise(SIGHUP); }, plog::warning).output, HasSubstr(kKill));
    EXPECT_THAT(process_.Run([] { raise(SIGABRT); }, plog::error).output, HasSubstr(kCrash));
}

// Calls its function for each line while it holds a lock, as the appenders of the log do.
class InterruptedAppender : public plog::IAppender {
  public:
    explicit InterruptedAppender(std::function<void(const std::string&)> interrupt)
        : interrupt_(std::move(interrupt)) {}

    void write(const plog::Record& record) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        interrupt_(record.getMessage());
    }

  private:
    std::mutex mutex_;
    const std::function<void(const std::string&)> interrupt_;
};

// Never freed, as all appenders.
void AddAppender(std::function<void(const std::string&)> interrupt) {
    plog::get()->addAppender(new InterruptedAppender(std::move(interrupt)));
}

bool Holds(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

TEST_F(SignalHandlerTest, ASignalThatHitsAThreadInsideTheLoggerWaitsForTheEndOfTheLine) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string& line) {
            if (Holds(line, "interrupted")) {
                raise(SIGQUIT);
                std::puts("the line goes on");
                std::fflush(stdout);
            }
        });
        MUX_LOG(plog::info) << "interrupted";
    });
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.HasInOrder({"interrupted\n", "the line goes on\n", kTermination})) << result.output;
}

TEST_F(SignalHandlerTest, ACrashInsideTheLoggerLeavesADumpWithoutALineAndDoesNotHang) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string&) { raise(SIGSEGV); });
        MUX_LOG(plog::info) << "the last line";
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, AllOf(HasSubstr("the last line\n"), Not(HasSubstr(kCrash))));
    EXPECT_THAT(process_.GcoreArguments(), HasSubstr("-o mux-"));
}

TEST_F(SignalHandlerTest, ACrashInALineThatASignalWaitsForIsNotLost) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string&) {
            raise(SIGQUIT);
            raise(SIGSEGV);
        });
        MUX_LOG(plog::info) << "the last line";
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, Not(HasSubstr(kTermination)));
    EXPECT_THAT(process_.GcoreArguments(), HasSubstr("-o mux-"));
}

TEST_F(SignalHandlerTest, AFaultInsideTheEndingOfASignalEndsWithStatus255AtOnce) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string& line) {
            if (Holds(line, "Termination signal received")) {
                raise(SIGSEGV);
            }
        });
        raise(SIGQUIT);
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(process_.GcoreArguments(), "");
}

// Each handler blocks its own signal, and one that stayed blocked would wait until all is done.
TEST_P(CrashSignalTest, InsideTheHandlingOfACrashEndsWithStatus255AtOnce) {
    const ChildResult result = process_.Run([signal = GetParam()] {
        AddAppender([signal](const std::string& line) {
            if (Holds(line, "Obtaining stack trace")) {
                raise(signal);
            }
        });
        raise(signal);
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, Not(HasSubstr("Backtrace (frames)")));
}

TEST_F(SignalHandlerTest, ASecondSignalDuringAnEndingChangesNothing) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string& line) {
            if (Holds(line, "Termination signal received")) {
                raise(SIGHUP);
            }
        });
        raise(SIGQUIT);
    });
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.output, Not(HasSubstr(kKill)));
}

TEST_F(SignalHandlerTest, WhenTheLoggerNeverComesFreeAWatchdogEndsWithTheSameStatus) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string& line) {
            while (Holds(line, "Termination signal received")) {
                pause();
            }
        });
        raise(SIGQUIT);
    });
    EXPECT_EQ(result.exitStatus, 0);
}

}  // namespace
}  // namespace Diagnostics
