// What the Mux does when its console takes nothing, and what a console is not shown.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxProcess.h"

namespace SystemTest {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Lines without what a terminal and the start of a file add.
std::vector<std::string> LinesOf(const std::string& content) {
    std::istringstream text(std::regex_replace(content, std::regex("\r|\xEF\xBB\xBF"), ""));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The lines of the current log file and of those before it, oldest first.
std::vector<std::string> LoggedLines(const Testing::TemporaryFolder& folder) {
    std::vector<std::string> lines;
    for (int number = 9; number >= 0; --number) {
        const std::string name = number == 0 ? "smartlock_mux.log" : "smartlock_mux." + std::to_string(number) + ".log";
        const std::vector<std::string> some = LinesOf(folder.Read(name));
        lines.insert(lines.end(), some.begin(), some.end());
    }
    return lines;
}

bool HasLineWith(const std::string& text, const std::vector<std::string>& lines) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

// How many lines a notice says are missing; 0 for another line.
std::size_t MissingBy(const std::string& line) {
    static const std::regex kNotice(R"( WARN .* Output was blocked\. ([0-9]+) lines are missing here\.$)");
    std::smatch found;
    return std::regex_search(line, found, kNotice) ? std::stoul(found[1]) : 0;
}

// The console has the lines of the file in their order, but for those that its notices count.
void ExpectLinesBut(const std::vector<std::string>& console, const std::vector<std::string>& file) {
    std::size_t at = 0;
    std::size_t missing = 0;
    for (const std::string& line : console) {
        missing += MissingBy(line);
        at += MissingBy(line);
        if (MissingBy(line) == 0) {
            ASSERT_LT(at, file.size()) << line;
            ASSERT_EQ(line, file.at(at));
            ++at;
        }
    }
    EXPECT_EQ(at, file.size());
    EXPECT_GT(missing, 0U);
}

struct Dead {
    Console console;
    std::function<void(MuxProcess&)> stop;
    std::function<void(MuxProcess&)> goOn;
};

const std::map<std::string, Dead> kDead = {
    {"pipe that nobody reads",
     {Console::kPipe, [](MuxProcess& mux) { mux.StopReading(); }, [](MuxProcess& mux) { mux.ReadOn(); }}},
    {"terminal stopped with Ctrl-S",
     {Console::kTerminal, [](MuxProcess& mux) { mux.Write("\x13"); }, [](MuxProcess& mux) { mux.Write("\x11"); }}},
};

// Requests that are answered while the console takes nothing: for longer than it may without missing lines, and as many
// as the log files have room for.
void AskForAWhile(std::uint16_t port) {
    TestClient client(port);
    for (int request = 0; request < 5; ++request) {
        ASSERT_NO_FATAL_FAILURE(ExpectServed(client));
    }
    const Clock::time_point end = Clock::now() + milliseconds(1500);
    ASSERT_TRUE(Testing::WaitUntil([&] { return Clock::now() > end; }));
    for (int request = 0; request < 5; ++request) {
        ASSERT_NO_FATAL_FAILURE(ExpectServed(client));
    }
}

TEST(Console, ThatTakesNothingStopsNobodyAndTheFileHasEveryLine) {
    for (const auto& [name, dead] : kDead) {
        SCOPED_TRACE(name);
        const Testing::ReservedPort port;
        MuxProcess mux(ListeningOn(port, {"--verbose"}), {}, dead.console);
        ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
        dead.stop(mux);
        ASSERT_NO_FATAL_FAILURE(AskForAWhile(port.Number()));
        dead.goOn(mux);
        ASSERT_TRUE(mux.WaitFor("lines are missing here."));
        TestClient client(port.Number());
        ASSERT_NO_FATAL_FAILURE(ExpectServed(client));
        mux.Signal(SIGQUIT);
        EXPECT_EQ(mux.WaitForEnd(), "status 0");
        ExpectLinesBut(LinesOf(mux.Output()), LoggedLines(mux.Folder()));
        EXPECT_EQ(mux.Count("Termination signal received. Closing Mux."), 1U);
    }
}

TEST(Console, ThatTakesNothingKeepsNoEndingWaiting) {
    for (const auto& [name, dead] : kDead) {
        SCOPED_TRACE(name);
        const Testing::ReservedPort port;
        MuxProcess mux(ListeningOn(port, {"--verbose"}), {}, dead.console);
        ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
        dead.stop(mux);
        ASSERT_NO_FATAL_FAILURE(AskForAWhile(port.Number()));
        const Clock::time_point start = Clock::now();
        mux.Signal(SIGQUIT);
        ASSERT_TRUE(Testing::WaitUntil([&] { return !mux.IsRunning(); }, kDeadline));
        // The watchdog would come after 5 s.
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(4));
        dead.goOn(mux);
        EXPECT_EQ(mux.WaitForEnd(), "status 0");
        EXPECT_TRUE(HasLineWith("Termination signal received.", LoggedLines(mux.Folder())));
    }
}

// A client moves the cursor, sets a title and has the terminal answer.
TEST(Console, OfATerminalIsShownControlCharactersAsHexadecimal) {
    const std::string harmful =
        "\x1B[2J\x1B]0;title\x07\x05\x7F\xC2\x9B"
        "5n";
    const std::string shown = R"(\x1B[2J\x1B]0;title\x07\x05\x7F\xC2\x9B5n)";
    for (const auto console : {Console::kTerminal, Console::kPipe}) {
        const Testing::ReservedPort port;
        MuxProcess mux(ListeningOn(port, {"--verbose"}), {}, console);
        TestClient client(port.Number());
        client.Send(R"({"MessageID":"a","MessageCode":3,"Note":")" + harmful + R"("})");
        ASSERT_NO_FATAL_FAILURE(ExpectServed(client));
        mux.Signal(SIGQUIT);
        EXPECT_EQ(mux.WaitForEnd(), "status 0");
        const bool isTerminal = console == Console::kTerminal;
        EXPECT_EQ(mux.Output().find(harmful) == std::string::npos, isTerminal);
        EXPECT_EQ(mux.Output().find(shown) != std::string::npos, isTerminal);
        EXPECT_EQ(mux.Output().find('\x1B') == std::string::npos, isTerminal);
        EXPECT_TRUE(HasLineWith(harmful, LoggedLines(mux.Folder())));
    }
}

}  // namespace
}  // namespace SystemTest
