// The program on a terminal, where it shows its status screen.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/tools/OpenLockFrames.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/PseudoTerminal.h"

namespace {

using testing::HasSubstr;
using Testing::kOpen;
using testing::Not;
using Testing::PlainSocket;
using Testing::PseudoTerminal;

// What xterm is told to leave the screen with, for what was there before.
const char* const kLeaveScreen = "\x1B[?1049l";
const char* const kDrawAnew = "\x0C";
const char* const kUp = "\x1BOA";

std::vector<std::string> Command(const std::vector<std::string>& options) {
    std::vector<std::string> command = {GATEWAY_SIMULATOR_PATH, "--port", "0"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

// The port that stands in the gateway's row, or in the line that says that it listens.
std::uint16_t PortOf(PseudoTerminal& terminal, const std::string& behind = "connected") {
    const std::string text = "127.0.0.1:";
    EXPECT_TRUE(terminal.WaitFor(text)) << terminal.Output();
    const std::size_t start = terminal.Output().rfind(text) + text.size();
    EXPECT_TRUE(terminal.WaitFor(behind));
    return static_cast<std::uint16_t>(std::stoul(terminal.Output().substr(start)));
}

// ThreadSanitizer may lose a signal that comes while the screen is drawn for the first time.
void WaitUntilAtWork(PseudoTerminal& terminal) {
    EXPECT_TRUE(terminal.WaitFor("> "));
    terminal.Write("faults\r");
    EXPECT_TRUE(terminal.WaitFor("no faults"));
}

TEST(GatewaySimulatorScreenTest, ShowsTheGatewayAndItsLocks) {
    PseudoTerminal terminal(Command({"--locks", "5,600", "--counter", "41"}));
    for (const char* const text : {"gateway-simulator: 1 gateway, 0 connected", "127.0.0.1:", "counter 41", "lock 5",
                                   "closed", "battery 3 level 3", "cards 0/100", "lock 600", "> "}) {
        EXPECT_TRUE(terminal.WaitFor(text)) << text;
    }
    EXPECT_THAT(terminal.Output(), Not(HasSubstr("Listening on")));
}

TEST(GatewaySimulatorScreenTest, ShowsWhatHappens) {
    PseudoTerminal terminal(Command({"--locks", "5"}));
    PlainSocket client(PortOf(terminal));
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC");
    EXPECT_TRUE(terminal.WaitFor("-> OPEN_LOCK lock 5 seq 1001 ref 3 payload 00000000"));
    EXPECT_TRUE(terminal.WaitFor("<- OK lock 5 ref 3"));
    terminal.Write(kDrawAnew);
    EXPECT_TRUE(terminal.WaitFor("1 connected"));
    EXPECT_TRUE(terminal.WaitFor("counter 1001"));
    EXPECT_TRUE(terminal.WaitFor("open"));
}

TEST(GatewaySimulatorScreenTest, TakesCommands) {
    PseudoTerminal terminal(Command({"--locks", "5"}));
    ASSERT_TRUE(terminal.WaitFor("> "));
    terminal.Write("fautl\x7F\x7Flt delay 500 2\r");
    EXPECT_TRUE(terminal.WaitFor("fault delay 500 (for 2 more)"));
    terminal.Write("nonsense\r");
    EXPECT_TRUE(terminal.WaitFor("error: unknown command \"nonsense\"; try help"));
    terminal.Write("battery 5 1 0\r");
    terminal.Write(kDrawAnew);
    EXPECT_TRUE(terminal.WaitFor("battery 1 level 0"));
}

TEST(GatewaySimulatorScreenTest, BringsAnEarlierCommandBack) {
    PseudoTerminal terminal(Command({"--locks", "5"}));
    ASSERT_TRUE(terminal.WaitFor("> "));
    terminal.Write("add-lock 77\r");
    EXPECT_TRUE(terminal.WaitFor("lock 77"));
    terminal.Write(std::string(kUp) + "\r");
    EXPECT_TRUE(terminal.WaitFor("error: lock 77 already exists"));
}

TEST(GatewaySimulatorScreenTest, FollowsTheSizeOfTheWindow) {
    PseudoTerminal terminal(Command({"--locks", "5,6,7,8,9"}));
    ASSERT_TRUE(terminal.WaitFor("lock 9"));
    terminal.Resize(8, 60);
    EXPECT_TRUE(terminal.WaitFor("-- 4 more locks --"));
    terminal.Resize(24, 100);
    EXPECT_TRUE(terminal.WaitFor("lock 9"));
}

void ExpectEndAndTerminalBack(const std::function<void(PseudoTerminal&)>& end) {
    PseudoTerminal terminal(Command({}));
    WaitUntilAtWork(terminal);
    EXPECT_FALSE(terminal.IsInLineMode());
    EXPECT_FALSE(terminal.IsNonBlocking());
    end(terminal);
    EXPECT_EQ(terminal.WaitForExit(), 0);
    EXPECT_TRUE(terminal.WaitFor(kLeaveScreen));
    EXPECT_TRUE(terminal.IsInLineMode());
}

TEST(GatewaySimulatorScreenTest, GivesTheTerminalBackAtTheEnd) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        SCOPED_TRACE(number);
        ExpectEndAndTerminalBack([number](PseudoTerminal& terminal) { terminal.Signal(number); });
    }
    for (const char* const typed : {"quit\r", "\x03"}) {
        SCOPED_TRACE(typed);
        ExpectEndAndTerminalBack([typed](PseudoTerminal& terminal) { terminal.Write(typed); });
    }
}

// Whoever shares the terminal would read nothing, and some programs take that for its end.
TEST(GatewaySimulatorScreenTest, LeavesReadingFromTheTerminalAsItWas) {
    PseudoTerminal terminal({"/bin/sh", "-c", "\"$0\" --port 0; cat && echo all of it", GATEWAY_SIMULATOR_PATH});
    ASSERT_TRUE(terminal.WaitFor("> "));
    terminal.Write("quit\r");
    ASSERT_TRUE(terminal.WaitFor(kLeaveScreen));
    // The library leaves the screen first and gives the modes back then.
    ASSERT_TRUE(Testing::WaitUntil([&terminal] { return terminal.IsInLineMode(); }));
    terminal.Write("a line\n");
    ASSERT_TRUE(terminal.WaitFor("a line")) << "as typed";
    ASSERT_TRUE(terminal.WaitFor("a line")) << "as read";
    terminal.Write("\x04");
    EXPECT_TRUE(terminal.WaitFor("all of it")) << terminal.Output();
}

// They come while the gateways' threads end, which takes the longer the more there are.
TEST(GatewaySimulatorScreenTest, GivesTheTerminalBackWhenMoreSignalsComeAtTheEnd) {
    const Testing::TemporaryFolder folder;
    std::string gateways;
    for (int id = 1; id <= 40; ++id) {
        gateways += (id == 1 ? "" : ", ") + (R"({"Port": 0, "ID": )" + std::to_string(id) + "}");
    }
    const std::string file = folder.Write("site.json", R"({"Gateways": [)" + gateways + "]}");
    PseudoTerminal terminal({GATEWAY_SIMULATOR_PATH, "--gateways", file});
    WaitUntilAtWork(terminal);
    terminal.SignalUntilItEnds(SIGTERM);
    EXPECT_THAT(terminal.Output(), HasSubstr(kLeaveScreen));
    EXPECT_TRUE(terminal.IsInLineMode());
}

// A shell with jobs stops one that changes the terminal, or reads from it, in the background.
TEST(GatewaySimulatorScreenTest, AnswersInTheBackground) {
    PseudoTerminal terminal({"/bin/sh", "-m", "-c", "\"$0\" --port 0 --locks 5 & read line; read line; kill $!; wait",
                             GATEWAY_SIMULATOR_PATH});
    PlainSocket client(PortOf(terminal, "\r\n"));
    terminal.Write("this is for the shell\n");
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC");
    EXPECT_TRUE(terminal.WaitFor("<- OK lock 5 ref 3"));
    EXPECT_THAT(terminal.Output(), Not(HasSubstr("\x1B")));
    EXPECT_THAT(terminal.Output(), Not(HasSubstr("error")));
    terminal.Write("end it\n");
    EXPECT_EQ(terminal.WaitForExit(), 0);
}

TEST(GatewaySimulatorScreenTest, TakesCommandsOnceItIsInTheForeground) {
    PseudoTerminal terminal({"/bin/sh", "-m", "-c", "\"$0\" --port 0 & read line; fg", GATEWAY_SIMULATOR_PATH});
    PortOf(terminal, "\r\n");
    terminal.Write("now\n");
    terminal.Write("faults\n");
    EXPECT_TRUE(terminal.WaitFor("no faults")) << terminal.Output();
}

TEST(GatewaySimulatorScreenTest, EndsWithItsTerminal) {
    PseudoTerminal terminal(Command({}));
    WaitUntilAtWork(terminal);
    terminal.HangUp();
    EXPECT_EQ(terminal.WaitForExit(), 0);
}

TEST(GatewaySimulatorScreenTest, WritesPlainLinesWhenToldTo) {
    PseudoTerminal terminal(Command({"--plain"}));
    EXPECT_TRUE(terminal.WaitFor("Listening on 127.0.0.1:"));
    EXPECT_TRUE(terminal.IsInLineMode());
    terminal.Write("faults\n");
    EXPECT_TRUE(terminal.WaitFor("no faults\r\n"));
    EXPECT_THAT(terminal.Output(), Not(HasSubstr("\x1B")));
}

TEST(GatewaySimulatorScreenTest, WritesPlainLinesIntoAPipe) {
    PseudoTerminal terminal({"/bin/sh", "-c", "\"$0\" --port 0 | cat", GATEWAY_SIMULATOR_PATH});
    EXPECT_TRUE(terminal.WaitFor("Listening on 127.0.0.1:"));
    terminal.Write("quit\n");
    EXPECT_EQ(terminal.WaitForExit(), 0);
    EXPECT_THAT(terminal.Output(), Not(HasSubstr("\x1B")));
}

TEST(GatewaySimulatorScreenTest, WritesPlainLinesOnATerminalThatCannotPlaceText) {
    for (const char* const kind : {"dumb", "no-such-terminal", ""}) {
        PseudoTerminal terminal(Command({}), kind);
        EXPECT_TRUE(terminal.WaitFor("Listening on 127.0.0.1:")) << kind;
        EXPECT_THAT(terminal.Output(), Not(HasSubstr("\x1B"))) << kind;
    }
}

}  // namespace
