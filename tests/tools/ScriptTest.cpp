#include "tools/gateway-simulator/Script.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/WaitUntil.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/StepRunner.h"

namespace Simulator {
namespace {

using std::chrono::milliseconds;

std::vector<Step> Read(const std::string& text) {
    std::istringstream script(text);
    return ReadScript(script, "night.txt");
}

std::string ErrorOf(const std::string& text) {
    try {
        Read(text);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

// Runs steps on a loop of their own until they quit.
class ScriptTest : public testing::Test {
  protected:
    std::string Run(const std::string& text) {
        runner_.Add(Read(text + "\nquit\n"));
        loop_.run();
        return output_.str();
    }

    GatewaySimulator gateway_;
    std::ostringstream output_;
    LineWriter writer_{output_};
    asio::io_context loop_;
    StepRunner runner_{loop_, gateway_, writer_, [this] { loop_.stop(); }};
};

TEST_F(ScriptTest, ReadsCommandsWaitsAndQuit) {
    const std::vector<Step> steps = Read("card 5 04\nwait 500\nquit\n");
    ASSERT_EQ(steps.size(), 3U);
    EXPECT_EQ(steps.at(0).kind, Step::Kind::kCommand);
    EXPECT_EQ(steps.at(1).kind, Step::Kind::kWait);
    EXPECT_EQ(steps.at(1).wait, milliseconds(500));
    EXPECT_EQ(steps.at(2).kind, Step::Kind::kQuit);
}

TEST_F(ScriptTest, NamesFileAndLineOfAnError) {
    EXPECT_EQ(ErrorOf("# nothing yet\n\ncrad 5 04\n"), "night.txt:3: there is no command \"crad\"; try help");
    EXPECT_EQ(ErrorOf("close\npin 5 12x"),
              "night.txt:2: pin ADDRESS DIGITS: DIGITS must be at most 228 digits, not \"12x\"");
    EXPECT_EQ(ErrorOf("wait"), "night.txt:1: MILLISECONDS is missing");
    EXPECT_EQ(ErrorOf("wait soon"), "night.txt:1: MILLISECONDS must be a number from 0 to 3600000, not \"soon\"");
    EXPECT_EQ(ErrorOf("quit now"), "night.txt:1: nothing should follow, but \"now\" does");
}

TEST_F(ScriptTest, CannotLoadAFileThatIsNotThere) {
    EXPECT_THROW(LoadScript("/nowhere/night.txt"), CommandError);
    EXPECT_THROW(LoadScript("/"), CommandError);
}

TEST_F(ScriptTest, RunsItsCommandsInOrder) {
    EXPECT_EQ(Run("add-lock 9\nadd-lock 8 # eight\n\nremove-lock 9\ncounter 41\nlocks"),
              "counter 41\nlock 8: closed, status 0F000000000000, whitelist enabled, 0 of 100 cards\n");
}

TEST_F(ScriptTest, WaitsBetweenCommands) {
    const auto start = std::chrono::steady_clock::now();
    Run("wait 30\ncounter 41\nwait 30");
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(60));
    EXPECT_EQ(gateway_.Counter(), 41U);
}

TEST_F(ScriptTest, GoesOnBehindACommandThatFails) {
    const std::string output = Run("card 5 04\ncounter 41");
    EXPECT_NE(output.find("error: there is no lock 5\n"), std::string::npos) << output;
    EXPECT_EQ(gateway_.Counter(), 41U);
}

TEST_F(ScriptTest, RunsNothingBehindQuit) {
    Run("counter 41\nquit\ncounter 42");
    EXPECT_EQ(gateway_.Counter(), 41U);
}

}  // namespace
}  // namespace Simulator
