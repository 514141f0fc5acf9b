// A Mux that outlived its test would keep its port and its share of the processor.

#include "tests/support/Process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iostream>

#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

// What has ended has no command line, even as long as nobody has waited for it.
bool IsGone(const std::string& process) {
    std::ifstream file("/proc/" + process + "/cmdline");
    std::string words;
    return !std::getline(file, words);
}

TEST(Process, EndsWhenTheOneThatStartedItIsKilled) {
    Process parent([] {
        const Process child({"sleep", "600"});
        std::cout << "child " << child.Id() << std::endl;
        pause();
    });
    const std::string child = parent.WaitForLineWith("child ");
    ASSERT_NE(child, "");
    EXPECT_TRUE(WaitUntil([&] { return !IsGone(child); }));
    parent.Signal(SIGKILL);
    EXPECT_TRUE(WaitUntil([&] { return IsGone(child); }));
}

}  // namespace
}  // namespace Testing
