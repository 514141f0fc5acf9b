#include "diagnostics/Dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"

namespace {

// What the dump needs of the system, in its order.
std::vector<std::string> calls;

}  // namespace

extern "C" {

// Only some kernels restrict tracing, so what the call leads to cannot be tested everywhere.
int __real_prctl(int option, unsigned long second, unsigned long third, unsigned long fourth, unsigned long fifth);
int __wrap_prctl(int option, unsigned long second, unsigned long third, unsigned long fourth, unsigned long fifth) {
    if (option == PR_SET_PTRACER) {
        calls.emplace_back(second == PR_SET_PTRACER_ANY ? "any process may trace" : "one process may trace");
    }
    return __real_prctl(option, second, third, fourth, fifth);
}

int __real_system(const char* command);
int __wrap_system(const char* command) {
    calls.emplace_back(command);
    return __real_system(command);
}

}  // extern "C"

namespace Diagnostics {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

const std::string kUuid = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";

TEST(DumpFile, TheCommandNamesTheProgramARunOfItsOwnAndTheProcess) {
    SetDumpName("/opt/lock/dw-hal-mux-brenk");
    EXPECT_THAT(DumpCommand(),
                MatchesRegex("gcore -o dw-hal-mux-brenk-" + kUuid + "\\.dump " + std::to_string(getpid())));
}

TEST(DumpFile, ANameThatTheShellWouldTakeApartIsMadeHarmless) {
    SetDumpName("./mux; touch $HOME/'x'");
    EXPECT_THAT(DumpCommand(), MatchesRegex("gcore -o _x_-" + kUuid + "\\.dump [0-9]+"));
}

TEST(DumpFile, SavingLogsThatItRunsAndTheCommandLine) {
    SetDumpName("mux");
    setenv("PATH", "/nonexistent", 1);
    const Testing::CapturedLog log;
    SaveDumpFile();
    const std::string operation = "void Diagnostics::SaveDumpFile() ";
    EXPECT_THAT(log.Lines(),
                ElementsAre(testing::Pair(plog::info, operation + "Running gcore for save current core dump."),
                            testing::Pair(plog::info, operation + "Command line:" + DumpCommand())));
}

TEST(DumpFile, AnyProcessMayTraceThisOneBeforeTheCommandRuns) {
    SetDumpName("mux");
    setenv("PATH", "/nonexistent", 1);
    calls.clear();
    RunDumpCommand();
    EXPECT_THAT(calls, ElementsAre("any process may trace", DumpCommand()));
}

}  // namespace
}  // namespace Diagnostics
