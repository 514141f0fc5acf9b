#include "diagnostics/Dump.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace Diagnostics {
namespace {

constexpr int kMayNotTrace = 2;

enum class Debugger { kHangs, kLetsGo };

// Stops its parent as a debugger does.
[[noreturn]] void Debug(Debugger behaviour) {
    // A test that fails leaves nobody behind.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const pid_t parent = getppid();
    if (ptrace(PTRACE_ATTACH, parent, nullptr, nullptr) != 0) {
        _exit(kMayNotTrace);
    }
    waitpid(parent, nullptr, __WALL);
    while (behaviour == Debugger::kHangs) {
        pause();
    }
    // Long enough to be seen by a watch that does not wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    ptrace(PTRACE_DETACH, parent, nullptr, nullptr);
    _exit(0);
}

// Lets a debugger stop this process and returns how the debugger ended: its status, or minus the signal.
int EndOfDebugger(Debugger behaviour) {
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const pid_t debugger = fork();
    if (debugger == 0) {
        Debug(behaviour);
    }
    int status = 0;
    while (waitpid(debugger, &status, 0) != debugger) {
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

// Runs it in a process that is watched, and returns how the debugger ended; -1 when that process never got on.
int EndOfDebuggerWatchedFor(std::chrono::seconds limit, Debugger behaviour) {
    constexpr int kSignalBase = 100;
    const Testing::TemporaryFolder folder;
    const int status = Testing::RunInChild(folder.Path(), [&] {
                           StartDumpWatch(limit);
                           const int end = EndOfDebugger(behaviour);
                           _exit(end < 0 ? kSignalBase - end : end);
                       }).exitStatus;
    return status > kSignalBase ? kSignalBase - status : status;
}

TEST(DumpWatchTest, KillsADebuggerThatHangsWhenTheTimeIsOverAndLeavesOneAloneThatIsDoneInTime) {
    const int end = EndOfDebuggerWatchedFor(std::chrono::seconds(1), Debugger::kHangs);
    if (end == kMayNotTrace) {
        GTEST_SKIP() << "this machine lets no process trace another";
    }
    EXPECT_EQ(end, -SIGKILL);
    EXPECT_EQ(EndOfDebuggerWatchedFor(std::chrono::seconds(60), Debugger::kLetsGo), 0);
}

// Otherwise connections and the listening port would stay open as long as it watches.
TEST(DumpWatchTest, HoldsNoDescriptorOfTheProcess) {
    const Testing::TemporaryFolder folder;
    const Testing::ChildResult result = Testing::RunInChild(folder.Path(), [] {
        std::array<int, 2> ends = {};
        ASSERT_EQ(pipe(ends.data()), 0);
        StartDumpWatch(std::chrono::seconds(60));
        close(ends[1]);
        char byte = 0;
        _exit(static_cast<int>(read(ends[0], &byte, 1)));
    });
    EXPECT_EQ(result.exitStatus, 0) << "the end of the pipe never came";
}

}  // namespace
}  // namespace Diagnostics
