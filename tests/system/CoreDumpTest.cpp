// What a crash leaves for the one who looks for its cause.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/system/support/CrashLog.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/Sanitized.h"

namespace SystemTest {
namespace {

bool IsInstalled(const std::string& tool) {
    std::istringstream path(std::getenv("PATH"));
    for (std::string folder; std::getline(path, folder, ':');) {
        if (access((std::filesystem::path(folder) / tool).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

// The stacks of all threads in the core file, one text each.
std::vector<std::string> StacksIn(const std::filesystem::path& core) {
    const std::string output = Testing::RunToEnd({"gdb", "-nx", "-batch", "-iex", "set debuginfod enabled off", "-ex",
                                                  "thread apply all bt", MUX_PROGRAM, core.string()})
                                   .output;
    const std::string start = "\nThread ";
    std::vector<std::string> stacks;
    for (std::size_t begin = output.find(start); begin != std::string::npos;) {
        const std::size_t end = output.find(start, begin + 1);
        stacks.push_back(output.substr(begin, end - begin));
        begin = end;
    }
    EXPECT_FALSE(stacks.empty()) << output;
    return stacks;
}

bool HoldsInOrder(const std::string& text, const std::vector<std::string>& parts) {
    std::size_t position = 0;
    for (const std::string& part : parts) {
        position = text.find(part, position);
        if (position == std::string::npos) {
            return false;
        }
    }
    return true;
}

TEST(CoreDump, OpensInTheDebuggerAndShowsTheStackOfTheThreadThatCrashed) {
    if (!IsInstalled("gdb") || !IsInstalled("gcore")) {
        GTEST_SKIP() << "gdb and gcore are not installed";
    }
    if (kIsSanitized) {
        GTEST_SKIP() << "a dump of a sanitizer's address space takes minutes";
    }
    MuxSystem system(WithGateways({}));
    const TestClient client = system.NewClient();
    client.Send("[]");
    ASSERT_EQ(system.Mux().WaitForEnd(), "status 255");
    const std::string name = DumpNameOf(system.Mux()) + ".dump." + std::to_string(system.Mux().Id());
    const std::filesystem::path core = system.Mux().Folder().Path() / name;
    ASSERT_TRUE(std::filesystem::exists(core)) << system.Mux().Output() << system.Mux().ErrorOutput();

    int crashed = 0;
    for (const std::string& stack : StacksIn(core)) {
        // The innermost call comes first.
        crashed += HoldsInOrder(
                       stack, {"Diagnostics::SignalHandler", "signal handler called", "abort",
                               "Mux::MuxMessageBuilder::ParseMessage", "Mux::BrenkMux::ServerSocketClientDataReceived",
                               "ServerSocket::ReceiveDataLoopThreadProc"})
                       ? 1
                       : 0;
    }
    EXPECT_EQ(crashed, 1);
}

}  // namespace
}  // namespace SystemTest
