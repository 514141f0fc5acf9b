// How signals end the program: status, log, dump and backtrace.

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/CrashLog.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/LogLines.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/Sanitized.h"

namespace SystemTest {
namespace {

SystemSetup WithDumpTool(const FakeDumpTool& tool) {
    SystemSetup setup = WithArguments({});
    setup.environment = tool.Environment();
    return setup;
}

void ExpectStarted(const MuxProcess& mux) {
    ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
}

void ExpectEnd(int signalNumber, const std::string& ending, const std::vector<ExpectedLine>& lastLines) {
    MuxSystem system;
    ExpectStarted(system.Mux());
    system.Mux().Signal(signalNumber);
    EXPECT_EQ(system.Mux().WaitForEnd(), ending);
    ExpectInOrder(system.Mux().Lines(), lastLines);
    if (!lastLines.empty()) {
        EXPECT_NE(system.Mux().Folder().Read("smartlock_mux.log").find(lastLines.back().text), std::string::npos);
    }
}

TEST(Signals, QuitEndsWithStatus0) {
    ExpectEnd(SIGQUIT, "status 0", {{"INFO", "Termination signal received. Closing Mux."}});
}

TEST(Signals, HangUpEndsWithStatus255) {
    ExpectEnd(SIGHUP, "status 255", {{"WARN", "Kill signal received. Terminating mux."}});
}

TEST(Signals, TerminateInterruptAndKillHaveTheirDefaultAction) {
    ExpectEnd(SIGTERM, "signal 15", {});
    ExpectEnd(SIGINT, "signal 2", {});
    ExpectEnd(SIGKILL, "signal 9", {});
}

TEST(Signals, ABrokenPipeAndAFileAtItsLimitAreIgnored) {
    MuxSystem system;
    ExpectStarted(system.Mux());
    system.Mux().Signal(SIGPIPE);
    system.Mux().Signal(SIGXFSZ);
    TestClient client = system.NewClient();
    ExpectServed(client);
}

// A debugger that attaches, or a shell's job control, interrupts every call that waits.
TEST(Signals, StoppingAndContinuingIsNoFailure) {
    constexpr int kTimes = 5;
    MuxSystem system;
    ExchangeRunner runner(system);
    for (int time = 0; time < kTimes; ++time) {
        system.Mux().Signal(SIGSTOP);
        ASSERT_TRUE(Testing::WaitUntil([&] { return system.Mux().IsStopped(); }, kDeadline));
        system.Mux().Signal(SIGCONT);
        runner.Run({{"a request", Request(14), "00000005 08", Ack()}});
    }
    EXPECT_EQ(system.Gateway().ConnectionCount(), 1U);
    EXPECT_TRUE(system.Mux().IsRunning());
}

class CrashSignals : public testing::TestWithParam<int> {};

TEST_P(CrashSignals, LogDumpAndBacktraceAndEndWithStatus255) {
    const FakeDumpTool tool;
    MuxSystem system(WithDumpTool(tool));
    ExpectStarted(system.Mux());
    system.Mux().Signal(GetParam());
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
    ExpectCrashLog(system.Mux(), tool);
    EXPECT_NE(system.Mux().Folder().Read("smartlock_mux.log").find("Backtrace (frames) with symbols starts here"),
              std::string::npos);
}

std::string NameOfSignal(const testing::TestParamInfo<int>& info) {
    return sigabbrev_np(info.param);
}

INSTANTIATE_TEST_SUITE_P(All, CrashSignals, testing::Values(SIGABRT, SIGSEGV, SIGBUS), NameOfSignal);

void ExpectCrash(const SystemSetup& setup) {
    MuxSystem system(setup);
    system.Mux().Signal(SIGSEGV);
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
    ExpectInOrder(system.Mux().Lines(), {{"", "Running gcore for save current core dump."},
                                         {"", "Backtrace (frames) with symbols starts here"}});
}

TEST(Crashes, EndTheSameWithoutADumpTool) {
    SystemSetup setup;
    setup.environment = {{"PATH", "/nonexistent"}};
    ExpectCrash(setup);
}

// Whatever dump tool this machine has or has not.
TEST(Crashes, EndTheSameWithTheDumpToolOfTheMachine) {
    if (kIsSanitized) {
        GTEST_SKIP() << "a dump of a sanitizer's address space takes minutes";
    }
    ExpectCrash({});
}

TEST(Crashes, OfDifferentRunsHaveDifferentDumpNames) {
    const auto crash = [] {
        const FakeDumpTool tool;
        MuxSystem system(WithDumpTool(tool));
        ExpectStarted(system.Mux());
        system.Mux().Signal(SIGABRT);
        EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
        return DumpNameOf(system.Mux());
    };
    const std::string first = crash();
    EXPECT_NE(first, "");
    EXPECT_NE(first, crash());
}

TEST(Crashes, KeepTheirStatusWhenAnotherSignalComesDuringTheDump) {
    const FakeDumpTool tool(FakeDumpTool::Behaviour::kWaitsForLeave);
    MuxSystem system(WithDumpTool(tool));
    ExpectStarted(system.Mux());
    system.Mux().Signal(SIGABRT);
    ASSERT_TRUE(Testing::WaitUntil([&] { return !tool.Call().empty(); }, kDeadline));
    system.Mux().Signal(SIGQUIT);
    tool.GiveLeave();
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
    ExpectCrashLog(system.Mux(), tool);
}

}  // namespace
}  // namespace SystemTest
