#include "tools/gateway-simulator/Script.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/WaitUntil.h"
#include "tests/tools/CommandErrorOf.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/LabelledOutput.h"
#include "tools/gateway-simulator/LineWriter.h"
#include "tools/gateway-simulator/StepRunner.h"

namespace Simulator {
namespace {

using std::chrono::milliseconds;

std::vector<Step> ReadSteps(const std::string& text) {
    std::istringstream script(text);
    return ReadScript(script, "night.txt");
}

// Runs steps on a loop of their own until they quit.
class ScriptTest : public testing::Test {
  protected:
    std::string Run(const std::string& text) {
        runner_.Add(ReadSteps(text + "\nquit\n"));
        loop_.run();
        return output_.str();
    }

    GatewaySimulator gateway_;
    std::ostringstream output_;
    LineWriter writer_{output_};
    LabelledOutput secondOutput_{writer_, "-2: "};
    asio::io_context loop_;
    GatewaySimulator second_;
    bool showsKeepAlives_ = true;
    StepRunner::Handlers handlers_{[this] { loop_.stop(); }, [this](bool shown) { showsKeepAlives_ = shown; }};
    const std::vector<Target> targets_{{1, "Hall", "127.0.0.1", gateway_, writer_},
                                       {-2, "", "::1", second_, secondOutput_}};
    StepRunner runner_{loop_, targets_, writer_, handlers_};
};

TEST_F(ScriptTest, NamesFileAndLineOfAnError) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"# nothing yet\n\ncrad 5 04\n", "3: unknown command \"crad\"; did you mean \"card\"?"},
        {"wiat 5", "1: unknown command \"wiat\"; did you mean \"wait\"?"},
        {"close\npin 5 12x", "2: pin ADDRESS DIGITS: DIGITS must be at most 228 digits, not \"12x\""},
        {"wait", "1: MILLISECONDS is missing"},
        {"wait soon", "1: MILLISECONDS must be a number from 0 to 3600000, not \"soon\""},
        {"quit now", "1: unexpected argument \"now\""},
        {"keep-alives no", "1: on|off must be on or off, not \"no\""},
        {"2:", "1: COMMAND is missing"},
        {"2: wait 5", "1: \"wait\" cannot be sent to one gateway"},
        {"2: 3: locks", "1: unknown command \"3:\"; try help"},
        {"9999999999: locks", "1: unknown command \"9999999999:\"; try help"},
        {"use hall", "1: GATEWAY must be a gateway's ID, not \"hall\""},
        {"use", "1: GATEWAY is missing"},
        {"gateways 1", "1: unexpected argument \"1\""},
    };
    for (const auto& [script, error] : rows) {
        EXPECT_EQ(Testing::CommandErrorOf([&text = script] { ReadSteps(text); }), "night.txt:" + error);
    }
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
    EXPECT_NE(output.find("error: unknown lock 5\n"), std::string::npos) << output;
    EXPECT_EQ(gateway_.Counter(), 41U);
}

TEST_F(ScriptTest, SendsACommandToTheGatewayInFrontOfIt) {
    const std::string output = Run("-2: counter 41\nuse -2\nlocks\n  1:counter 42\ncounter 43 # 1: no prefix here");
    EXPECT_EQ(output, "-2: counter 41\n");
    EXPECT_EQ(gateway_.Counter(), 42U);
    EXPECT_EQ(second_.Counter(), 43U);
}

TEST_F(ScriptTest, NamesTheGatewayThatHasSomethingToSay) {
    EXPECT_EQ(Run("faults\n-2: locks\n-2: add-lock 5\n-2: locks"),
              "no faults\n-2: counter 1000\n-2: counter 1000\n"
              "-2: lock 5: closed, status 0F000000000000, whitelist enabled, 0 of 100 cards\n");
    EXPECT_NE(Run("-2: remove-lock 9").find("error: unknown lock 9\n"), std::string::npos);
}

TEST_F(ScriptTest, ShowsAndHidesKeepAlives) {
    Run("keep-alives off");
    EXPECT_FALSE(showsKeepAlives_);
    Run("keep-alives on");
    EXPECT_TRUE(showsKeepAlives_);
}

TEST_F(ScriptTest, HelpFitsEightyColumns) {
    std::istringstream help(StepHelp());
    for (std::string line; std::getline(help, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(ScriptTest, ConfirmsCommandsWithoutOutputWhenToldTo) {
    handlers_.confirms = true;
    StepRunner runner{loop_, targets_, writer_, handlers_};
    runner.Add(ReadSteps("counter 41\n-2: add-lock 5\nuse -2\nwait 1\nkeep-alives off\nfaults\nquit\n"));
    loop_.run();
    EXPECT_EQ(output_.str(), "done\n-2: done\ncommands go to gateway -2\ndone\ndone\n-2: no faults\n");
}

TEST_F(ScriptTest, ListsTheGateways) {
    EXPECT_EQ(Run("add-lock 5\ngateways"),
              "1: 127.0.0.1:0, not connected, 1 lock, Hall\n"
              "-2: [::1]:0, not connected, 0 locks\n");
}

TEST_F(ScriptTest, SaysThatThereIsNoSuchGateway) {
    const std::string output = Run("use 3\n3: counter 41\ncounter 42");
    EXPECT_EQ(output.find("error: unknown gateway 3\n"), sizeof("12:00:00.000 ") - 1) << output;
    EXPECT_NE(output.rfind("error: unknown gateway 3\n"), output.find("error: unknown gateway 3\n"));
    EXPECT_EQ(gateway_.Counter(), 42U);
}

}  // namespace
}  // namespace Simulator
