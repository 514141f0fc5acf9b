#include "tests/system/support/CrashLog.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/system/support/LogLines.h"

namespace SystemTest {
namespace {

const std::string kProgramName = "dw-hal-mux-brenk-";
constexpr std::size_t kUuidSize = 36;
constexpr const char* kFramesFollow = "Backtrace (frames) with symbols starts here";

std::size_t LinesAfter(const std::vector<LogLine>& log, const std::string& text) {
    const auto found = std::find_if(log.begin(), log.end(), [&](const LogLine& line) { return line.Says(text); });
    return found == log.end() ? 0 : static_cast<std::size_t>(log.end() - found - 1);
}

}  // namespace

std::string DumpNameOf(const MuxProcess& mux) {
    static const std::string kStart = " Command line:gcore -o ";
    static const std::string kEnd = ".dump ";
    const std::string output = mux.Output();
    const std::size_t start = output.find(kStart);
    const std::size_t end = output.find(kEnd, start);
    return end == std::string::npos ? "" : output.substr(start + kStart.size(), end - start - kStart.size());
}

void ExpectCrashLog(const MuxProcess& mux, const FakeDumpTool& tool) {
    const std::string name = DumpNameOf(mux);
    EXPECT_EQ(name.rfind(kProgramName, 0), 0U) << name;
    EXPECT_EQ(name.size(), kProgramName.size() + kUuidSize) << name;
    const std::string command = "gcore -o " + name + ".dump " + std::to_string(mux.Id());
    ExpectInOrder(mux.Lines(), {{"ERROR",
                                 "Received aborting or error signal. Try to save a dump file. Closing the Mux "
                                 "process."},
                                {"", "Running gcore for save current core dump."},
                                {"", "Command line:" + command},
                                {"", "Obtaining stack trace for current SIG."},
                                {"", kFramesFollow}});
    EXPECT_EQ(tool.Call(), command + "\n");
    EXPECT_GE(LinesAfter(ParseLogLines(mux.Lines()), kFramesFollow), 3U) << "a backtrace has frames";
}

}  // namespace SystemTest
