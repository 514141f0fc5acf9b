#include "diagnostics/DumpFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/support/CapturedLog.h"

namespace Diagnostics {
namespace {

using testing::MatchesRegex;

const std::string kUuid = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";

TEST(DumpFile, TheCommandNamesTheProgramARunOfItsOwnAndTheProcess) {
    SetDumpName("/opt/lock/dw-hal-mux-brenk");
    EXPECT_THAT(DumpCommand(),
                MatchesRegex("gcore -o dw-hal-mux-brenk-" + kUuid + "\\.dump " + std::to_string(getpid())));
}

TEST(DumpFile, ANameWithoutAPathIsTakenWhole) {
    SetDumpName("mux");
    EXPECT_THAT(DumpCommand(), MatchesRegex("gcore -o mux-" + kUuid + "\\.dump [0-9]+"));
}

TEST(DumpFile, DumpsOfTwoRunsHaveDifferentNames) {
    SetDumpName("mux");
    const std::string first = DumpCommand();
    SetDumpName("mux");
    EXPECT_NE(DumpCommand(), first);
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
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines.at(0).first, plog::info);
    EXPECT_EQ(lines.at(1).first, plog::info);
    EXPECT_EQ(lines.at(0).second, "void Diagnostics::SaveDumpFile() Running gcore for save current core dump.");
    EXPECT_EQ(lines.at(1).second, "void Diagnostics::SaveDumpFile() Command line:" + DumpCommand());
}

}  // namespace
}  // namespace Diagnostics
