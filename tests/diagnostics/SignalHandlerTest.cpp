#include "diagnostics/SignalHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Init.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/Log.h"
#include "tests/diagnostics/EndingProcess.h"
#include "tests/support/CapturedLog.h"

namespace Diagnostics {
namespace {

using Testing::ChildResult;
using testing::ContainsRegex;
using Testing::EndingProcess;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr const char* kTermination = "Termination signal received. Closing Mux.\n";
constexpr const char* kKill = "Kill signal received. Terminating mux.\n";
constexpr const char* kCrash = "Received aborting or error signal. Try to save a dump file. Closing the Mux process.\n";

class SignalHandlerTest : public testing::Test {
  protected:
    EndingProcess process_;
};

TEST_F(SignalHandlerTest, SigquitSighupAndSigkillEndTheProcessWithTheirLineAndStatusAndWithoutADump) {
    const struct {
        int signal;
        int status;
        const char* line;
    } cases[] = {
        {SIGQUIT, 0,
         " INFO  .*void Diagnostics::SignalHandler\\(int\\) Termination signal received\\. Closing Mux\\.\n$"},
        {SIGHUP, 255,
         " WARN  .*void Diagnostics::SignalHandler\\(int\\) Kill signal received\\. Terminating mux\\.\n$"},
        {SIGKILL, 255,
         " WARN  .*void Diagnostics::SignalHandler\\(int\\) Kill signal received\\. Terminating mux\\.\n$"},
    };
    for (const auto& tested : cases) {
        const ChildResult result = process_.Run(
            [signal = tested.signal] { signal == SIGKILL ? SignalHandler(signal) : static_cast<void>(raise(signal)); });
        EXPECT_EQ(result.exitStatus, tested.status);
        EXPECT_THAT(result.output, ContainsRegex(tested.line));
        EXPECT_EQ(process_.GcoreArguments(), "");
    }
}

class CrashSignalTest : public SignalHandlerTest, public testing::WithParamInterface<int> {};

TEST_P(CrashSignalTest, EndsWithStatus255AfterTheErrorLineTheDumpThatItLoggedAndTheBacktrace) {
    const ChildResult result = process_.Run([signal = GetParam()] { raise(signal); });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(process_.GcoreArguments(), MatchesRegex("-o mux-[0-9a-f-]{36}\\.dump [0-9]+\n"));
    EXPECT_TRUE(result.HasInOrder({kCrash, "Running gcore for save current core dump.\n",
                                   "Command line:gcore " + process_.GcoreArguments(),
                                   "Obtaining stack trace for current SIG.\n",
                                   "Backtrace (frames) with symbols starts here\n", "process_end_test"}))
        << result.output;
    EXPECT_THAT(result.output,
                ContainsRegex(" ERROR .* void Diagnostics::SignalHandler\\(int\\) Received aborting or error "
                              "signal\\."));
}

INSTANTIATE_TEST_SUITE_P(Signals, CrashSignalTest, testing::Values(SIGABRT, SIGBUS, SIGSEGV),
                         [](const auto& tested) { return std::string(sigabbrev_np(tested.param)); });

TEST_F(SignalHandlerTest, ARealMemoryFaultTakesTheCrashPath) {
    const ChildResult result = process_.Run([] {
        auto* const forbidden =
            static_cast<volatile char*>(mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        *forbidden = 1;
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, HasSubstr(kCrash));
}

TEST_F(SignalHandlerTest, WithoutGcoreTheBacktraceAndTheStatusAreTheSame) {
    process_.UseGcore("");
    const ChildResult result = process_.Run([] { raise(SIGSEGV); });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_TRUE(result.HasInOrder({kCrash, "Command line:", "Backtrace (frames) with symbols starts here\n"}))
        << result.output;
}

TEST_F(SignalHandlerTest, TheDumpIsMadeBetweenItsLinesAndTheBacktrace) {
    process_.UseGcore("#!/bin/sh\necho dumping\n");
    const ChildResult result = process_.Run([] { raise(SIGABRT); });
    EXPECT_TRUE(result.HasInOrder(
        {kCrash, "Command line:gcore -o mux-", "\ndumping\n", "Obtaining stack trace for current SIG.\n"}))
        << result.output;
}

TEST_F(SignalHandlerTest, ACrashOfAnyThreadEndsTheProcess) {
    const ChildResult result = process_.Run([] { std::thread([] { raise(SIGSEGV); }).join(); });
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

TEST_F(SignalHandlerTest, WithoutALoggerTheProcessEndsWithoutTheLine) {
    const ChildResult quit = process_.Run([] { raise(SIGQUIT); }, std::nullopt);
    EXPECT_EQ(quit.exitStatus, 0);
    EXPECT_EQ(quit.output, "");
    const ChildResult hangUp = process_.Run([] { raise(SIGHUP); }, std::nullopt);
    EXPECT_EQ(hangUp.exitStatus, 255);
    EXPECT_EQ(hangUp.output, "");
}

TEST_F(SignalHandlerTest, WithoutALoggerACrashStillLeavesADump) {
    const ChildResult result = process_.Run([] { raise(SIGSEGV); }, std::nullopt);
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(process_.GcoreArguments(), HasSubstr("-o mux-"));
}

TEST_F(SignalHandlerTest, ALineIsWrittenAtItsSeverityAndBelowItTheProcessEndsWithoutIt) {
    EXPECT_THAT(process_.Run([] { raise(SIGHUP); }, plog::warning).output, HasSubstr(kKill));
    EXPECT_THAT(process_.Run([] { raise(SIGABRT); }, plog::error).output, HasSubstr(kCrash));
    const ChildResult quit = process_.Run([] { raise(SIGQUIT); }, plog::warning);
    EXPECT_EQ(quit.exitStatus, 0);
    EXPECT_EQ(quit.output, "");
    const ChildResult hangUp = process_.Run([] { raise(SIGHUP); }, plog::error);
    EXPECT_EQ(hangUp.exitStatus, 255);
    EXPECT_EQ(hangUp.output, "");
    const ChildResult crash = process_.Run([] { raise(SIGABRT); }, plog::fatal);
    EXPECT_EQ(crash.exitStatus, 255);
    EXPECT_EQ(crash.output, "");
    EXPECT_THAT(process_.GcoreArguments(), HasSubstr("-o mux-"));
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

TEST_F(SignalHandlerTest, WhenTheLineThatASignalWaitsForNeverEndsAWatchdogEndsWithTheStatusOfTheSignal) {
    const ChildResult result = process_.Run([] {
        AddAppender([](const std::string&) {
            raise(SIGQUIT);
            for (;;) {
                pause();
            }
        });
        MUX_LOG(plog::info) << "the last line";
    });
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("the last line\n"), Not(HasSubstr(kTermination))));
}

TEST_F(SignalHandlerTest, TheStatusIsExactWhileOtherThreadsLog) {
    for (int run = 0; run < 10; ++run) {
        const bool quit = run % 2 == 0;
        const ChildResult result = process_.Run([quit] {
            std::vector<std::thread> threads;
            for (int index = 0; index < 3; ++index) {
                threads.emplace_back([] {
                    for (;;) {
                        MUX_LOG(plog::info) << "busy";
                    }
                });
            }
            kill(getpid(), quit ? SIGQUIT : SIGHUP);
            threads.front().join();
        });
        EXPECT_EQ(result.exitStatus, quit ? 0 : 255);
        EXPECT_THAT(result.output, HasSubstr(quit ? kTermination : kKill));
    }
}

}  // namespace
}  // namespace Diagnostics
