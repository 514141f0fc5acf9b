// The program itself against a Mux that the test plays: what it sends for each command line, what it prints, and how
// it ends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/SideBySide.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* kNackData = R"({"ErrorCode":8,"Message":"No route."})";

struct Row {
    Words arguments;
    // Behind the identifier.
    std::string request;
};

const Words kLock = {"--gateway", "1", "--lock", "5"};
const Words kCard = {"--card", "04A1B2C3"};

// A card of so many bytes.
std::string CardOf(std::size_t bytes) {
    return std::string(2 * bytes, 'A');
}

// What stands behind the identifier of a request for lock 5 of gateway 1.
std::string ForLock(int code, const std::string& members = "") {
    return R"("MessageCode":)" + std::to_string(code) + R"(,"Data":{"gatewayID":1,"lockID":5)" + members + "}}";
}

std::string ForCard(int code, const std::string& card, const std::string& isUid, int setup = 0, int options = 0) {
    return ForLock(code, R"(,"setupNumber":)" + std::to_string(setup) + R"(,"options":)" + std::to_string(options) +
                             R"(,"cardData":")" + card + R"(","isUIDCard":)" + isUid);
}

TEST(MuxctlTest, SendsTheRequestThatTheCommandNames) {
    const std::vector<Row> rows = {
        {Words{"status"} + kLock, ForLock(12)},
        {Words{"open"} + kLock, ForLock(10)},
        {Words{"open"} + kLock + Words{"--event"}, ForLock(110)},
        {Words{"close"} + kLock, ForLock(11)},
        {Words{"close", "--event"} + kLock, ForLock(111)},
        {Words{"open-close"} + kLock, ForLock(13, R"(,"duration":5)")},
        {Words{"open-close", "--duration", "255", "--event"} + kLock, ForLock(113, R"(,"duration":255)")},
        {Words{"access-denied"} + kLock, ForLock(14)},
        {Words{"access-denied", "--event"} + kLock, ForLock(114)},
        {Words{"whitelist", "add"} + kLock + kCard, ForCard(21, "04A1B2C3", "false")},
        {Words{"whitelist", "add", "--uid", "--setup", "255", "--options", "1"} + kLock + kCard,
         ForCard(21, "04A1B2C3", "true", 255, 1)},
        {Words{"whitelist", "add", "--uid", "--card", CardOf(10)} + kLock, ForCard(21, CardOf(10), "true")},
        {Words{"whitelist", "clear"} + kLock, ForLock(22)},
        {Words{"whitelist", "enable"} + kLock, ForLock(23)},
        {Words{"whitelist", "disable"} + kLock, ForLock(24)},
        {Words{"whitelist", "remove", "--card", "ab"} + kLock, ForCard(25, "ab", "false")},
        {Words{"whitelist", "remove", "--card", CardOf(233)} + kLock, ForCard(25, CardOf(233), "false")},
        {Words{"open", "--gateway", "-7", "--lock", "65536"},
         R"("MessageCode":10,"Data":{"gatewayID":-7,"lockID":65536}})"},
        {Words{"open", "--gateway", "0", "--lock", "-2147483648"},
         R"("MessageCode":10,"Data":{"gatewayID":0,"lockID":-2147483648}})"},
    };
    SystemTest::ForEachSideBySide(rows, [](const Row& row) {
        const Exchange exchange = Exchanged(row.arguments);
        EXPECT_EQ(BehindTheIdIn(exchange.request), row.request);
        EXPECT_EQ(IdIn(exchange.request).size(), 36U) << exchange.request;
        EXPECT_EQ(exchange.ending.status, 0) << exchange.ending.error;
    });
}

TEST(MuxctlTest, PrintsANackAndEndsWithOne) {
    const Ending ending = Exchanged(Words{"whitelist", "clear"} + kLock, 1, kNackData).ending;
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, StartsWith("NACK  whitelist clear, gateway 1, lock 5: No route. [error 8] ("));
    EXPECT_EQ(ending.error, "");
}

TEST(MuxctlTest, PrintsTheAnswerAsItCameWhenAskedForJson) {
    const Exchange exchange = Exchanged(Words{"open", "--json"} + kLock, 1, kNackData);
    EXPECT_EQ(exchange.ending.status, 1);
    EXPECT_EQ(exchange.ending.output, R"({"Timestamp":1700000000,"MessageID":")" + IdIn(exchange.request) +
                                          R"(","MessageCode":1,"Data":{"ErrorCode":8,"Message":"No route."}})" + "\n");
}

TEST(MuxctlTest, EndsWithTwoWithoutAConnection) {
    const Testing::ReservedPort port;
    const std::string number = std::to_string(port.Number());
    for (const Words& arguments :
         {Words{"open"} + kLock, Words{"health"}, Words{"send", "{}"}, Words{"send", "--no-answer", "{}"}}) {
        const Ending ending = RunMuxctl(arguments + ToPort(port.Number()));
        EXPECT_EQ(ending.status, 2);
        EXPECT_EQ(ending.output, "");
        EXPECT_EQ(ending.error, "muxctl: cannot connect to 127.0.0.1:" + number + ": Connection refused\n");
    }
}

TEST(MuxctlTest, EndsWithTwoWithoutAnAnswer) {
    FakeMux silent;
    const std::string port = "; is this the Mux's port?";
    const std::string hint = "; the request may still have been executed" + port;
    const std::vector<std::pair<Words, std::string>> commands = {
        {Words{"open"} + kLock, hint}, {{"send", "{}"}, hint}, {{"health"}, port}};
    for (const auto& [arguments, more] : commands) {
        const Ending ending = RunMuxctl(Words{"--timeout", "0.2"} + arguments + ToPort(silent.Port()));
        EXPECT_EQ(ending.status, 2);
        EXPECT_EQ(ending.output, "");
        EXPECT_EQ(ending.error,
                  "muxctl: no answer from 127.0.0.1:" + std::to_string(silent.Port()) + " within 0.2 s" + more + "\n");
    }
}

// Without an explicit time-out it does not wait for all of the fifteen seconds.
TEST(MuxctlTest, GivesUpSoonWhenEvenTheMuxItselfDoesNotAnswer) {
    const std::string silence =
        "no answer from 127.0.0.1:[0-9]+ within [0-9.]+ s, not even to a request that a Mux refuses by itself";
    struct SilentRow {
        Words arguments;
        std::string error;
        std::string output;
    };
    const std::vector<SilentRow> commands = {
        {{"open", "--json", "--gateway", "0", "--lock", "5,6"},
         "muxctl: stopped after open, gateway 0, lock 5; not sent: 1 of 2 requests\nmuxctl: " + silence +
             "; the request may still have been executed; is this the Mux's port.\n",
         R"({"Request":"open","Gateway":0,"Lock":5,"State":"unanswered","Reason":"time-out"})"
         "\n"
         R"({"Request":"open","Gateway":0,"Lock":6,"State":"not sent","Reason":"stopped"})"
         "\n"},
        {{"health"}, "muxctl: " + silence + "; is this the Mux's port.\n", ""}};
    SystemTest::ForEachSideBySide(commands, [](const SilentRow& row) {
        FakeMux silent;
        const auto start = std::chrono::steady_clock::now();
        ConnectedProgram program(silent, row.arguments);
        silent.ReceiveText();
        EXPECT_THAT(silent.ReceiveText(), HasSubstr(R"("MessageCode":20,)"));
        EXPECT_EQ(program.WaitForExit(), 2);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(12));
        EXPECT_THAT(program.ErrorOutput(), MatchesRegex(row.error));
        EXPECT_EQ(program.Output(), row.output);
    });
}

TEST(MuxctlTest, EndsWithTwoWhenTheMuxGoesAwayOrIsNone) {
    FakeMux mux;
    ConnectedProgram left(mux, Words{"open"} + kLock);
    mux.ReceiveText();
    mux.HangUp();
    EXPECT_EQ(left.WaitForExit(), 2);
    EXPECT_THAT(left.ErrorOutput(),
                HasSubstr(" has closed the connection; the Mux may have ended, or this is not its port\n"));

    ConnectedProgram deceived(mux, Words{"open"} + kLock);
    mux.ReceiveText();
    mux.Send("HTTP/1.1 400 Bad Request\r\n\r\n");
    EXPECT_EQ(deceived.WaitForExit(), 2);
    EXPECT_THAT(deceived.ErrorOutput(), HasSubstr(" is not a Mux: "));
    EXPECT_THAT(deceived.ErrorOutput(), HasSubstr("; is this the Mux's port?\n"));
}

struct WrongValues {
    // Up to the option.
    Words command;
    Words values;
};

TEST(MuxctlTest, EndsWith64BecauseOfAValue) {
    const std::vector<WrongValues> rows = {
        {{"open", "--lock", "5", "--gateway"}, {"2147483648", "01", "-", "1e1"}},
        {{"open", "--gateway", "1", "--lock"},
         {"0x10", "-05", "+5", " 5", "", "5,", ",5", "5,,6", "5;6", "5,06", "5,2147483648", "5 6"}},
        {Words{"open-close"} + kLock + Words{"--duration"}, {"0", "256", "020", "18446744073709551617"}},
        {Words{"whitelist", "add"} + kLock + Words{"--card"}, {"4A1", "0G", "", CardOf(234)}},
        {Words{"whitelist", "remove"} + kLock + Words{"--card"}, {CardOf(234)}},
        {Words{"whitelist", "add", "--uid"} + kLock + Words{"--card"}, {CardOf(11)}},
        {Words{"whitelist", "remove", "--uid"} + kLock + Words{"--card"}, {CardOf(11)}},
        {Words{"whitelist", "add"} + kLock + kCard + Words{"--setup"}, {"256", "010"}},
        {Words{"whitelist", "add"} + kLock + kCard + Words{"--options"}, {"0x1", "-1", "4294967296"}},
        {{"watch", "--count"}, {"-1", "010"}},
        {{"health", "--port"}, {"0", "65536", "05555", "0x15b3"}},
        {{"health", "--timeout"}, {"0", "86401", "-1", "0x1", "1.5.5", ".", "nan"}},
    };
    SystemTest::ForEachSideBySide(rows, [](const WrongValues& row) {
        for (const std::string& value : row.values) {
            const Ending ending = RunMuxctl(row.command + Words{value});
            EXPECT_EQ(ending.status, 64) << testing::PrintToString(row.command) << value;
            EXPECT_EQ(ending.output, "");
            EXPECT_THAT(ending.error, HasSubstr(row.command.back())) << value;
        }
    });
}

TEST(MuxctlTest, EndsWith64WhenItIsUsedWrongly) {
    const Testing::TemporaryFolder folder;
    const std::vector<Words> rows = {
        Words{"open", "--duration", "5"} + kLock,
        Words{"status", "--event"} + kLock,
        Words{"whitelist", "add"} + kLock,
        {"send"},
        {"send", "{}", "--file", folder.Write("list.json", "[]")},
        {"send", "--file", folder.Path() / "none"},
        {"check-config"},
    };
    for (const Words& arguments : rows) {
        const Ending ending = RunMuxctl(arguments);
        EXPECT_EQ(ending.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(ending.output, "");
        EXPECT_NE(ending.error, "");
    }
}

TEST(MuxctlTest, ShowsItsHelpWhenItIsToldNothing) {
    const Ending ending = RunMuxctl({});
    EXPECT_EQ(ending.status, 64);
    EXPECT_EQ(ending.output, "");
    EXPECT_EQ(ending.error, RunMuxctl({"--help"}).output);
}

// The program with a full disk for its output.
Words OntoAFullDisk(const Words& arguments) {
    return Words{"bash", "-c", "exec \"$@\" >/dev/full", "bash"} + MuxctlCommand(arguments);
}

const char* const kCannotWrite = "muxctl: cannot write the output: No space left on device\n";

TEST(MuxctlTest, EndsWithTwoWhenItsOutputCannotBeWritten) {
    for (const Words& arguments : std::vector<Words>{{"--help"}, {"--version"}, {"check-config", "-"}}) {
        const Ending ending = RunToEnd(OntoAFullDisk(arguments));
        EXPECT_EQ(ending.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(ending.error, kCannotWrite) << testing::PrintToString(arguments);
    }
}

TEST(MuxctlTest, WatchesNoLongerWhenItsOutputCannotBeWritten) {
    FakeMux mux;
    RunningProgram watch(OntoAFullDisk(Words{"watch"} + ToPort(mux.Port())));
    mux.Accept();
    mux.Send(R"({"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{}})");
    EXPECT_EQ(watch.WaitForExit(), 2);
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr(kCannotWrite));
}

TEST(MuxctlTest, SendsATextAsItIs) {
    const std::string text = R"( {"MessageCode" : 12,"MessageID":"mine"} )";
    const Testing::TemporaryFolder folder;
    const std::vector<std::pair<Words, std::string>> commands = {
        {{"send", text}, ""},
        {{"send", "--file", folder.Write("request.json", text)}, ""},
        {{"send", "--file", "-"}, text},
    };
    for (const auto& [arguments, input] : commands) {
        ProcessSetup setup;
        setup.input = input;
        const Exchange exchange = Exchanged(arguments, 0, kAckData, setup);
        EXPECT_EQ(exchange.request, text);
        EXPECT_EQ(exchange.ending.status, 0);
        EXPECT_THAT(exchange.ending.output, StartsWith("ACK   request \"mine\" ("));
    }
}

TEST(MuxctlTest, SendsWithoutWaitingWhenToldSo) {
    FakeMux mux;
    const Ending ending = RunMuxctl(Words{"send", "--no-answer", "--anyway", "no JSON"} + ToPort(mux.Port()));
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "");
    mux.Accept();
    EXPECT_EQ(mux.ReceiveText(), "no JSON");
}

TEST(MuxctlTest, SaysWhyAFileCannotBeRead) {
    const Testing::TemporaryFolder folder;
    const std::string missing = folder.Path() / "none";
    EXPECT_EQ(RunMuxctl({"send", "--file", missing}).error,
              "muxctl: " + missing + " cannot be read: No such file or directory\n");
    const std::string path = folder.Path().string();
    EXPECT_EQ(RunMuxctl({"send", "--file", path}).error, "muxctl: " + path + " cannot be read: Is a directory\n");
}

TEST(MuxctlTest, SendsNothingThatEndsTheMuxOrIsNeverAnswered) {
    const Testing::ReservedPort port;
    const std::string notSent = "muxctl: not sent; use --anyway to send it\n";
    const std::vector<std::pair<std::string, std::string>> rows = {
        {R"({"MessageCode":10,"Data":{}})",
         "muxctl: /Data/gatewayID is missing; the Mux would abort\n"
         "muxctl: /Data/lockID is missing; the Mux would abort\n"},
        {"hello", "muxctl: the text is not JSON at byte 1: Invalid value; the Mux would not answer\n"},
    };
    for (const auto& [text, reasons] : rows) {
        for (const Words& more : {Words{}, Words{"--no-answer"}}) {
            const Ending ending = RunMuxctl(Words{"send", text} + ToPort(port.Number()) + more);
            EXPECT_EQ(ending.status, 64);
            EXPECT_EQ(ending.output, "");
            EXPECT_EQ(ending.error, reasons + notSent);
        }
    }
}

TEST(MuxctlTest, SendsAnythingWhenToldSo) {
    EXPECT_EQ(Exchanged({"send", "--anyway", "[1]"}).request, "[1]");
}

TEST(MuxctlTest, RefusesATextThatFitsNoPacketBeforeItConnects) {
    const Testing::ReservedPort port;
    ProcessSetup setup;
    setup.input = "{" + std::string(65530, ' ') + "}";
    const Ending ending = RunMuxctl(Words{"send", "--file", "-"} + ToPort(port.Number()), setup);
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, HasSubstr(" bytes does not fit into a packet"));
}

TEST(MuxctlTest, TakesAnyAnswerForHealth) {
    const Exchange exchange = Exchanged({"health"}, 1, R"({"ErrorCode":0,"Message":"Error in request"})");
    EXPECT_EQ(BehindTheIdIn(exchange.request), R"("MessageCode":20,"Data":{"gatewayID":0,"lockID":0}})");
    EXPECT_EQ(exchange.ending.status, 0);
    EXPECT_THAT(exchange.ending.output, MatchesRegex("127.0.0.1:[0-9]+ answers \\([0-9]+\\.[0-9] s\\)\n"));
    EXPECT_THAT(Exchanged({"health", "--json"}, 1, kNackData).ending.output, StartsWith(R"({"Timestamp":17)"));
}

struct ConsoleRow {
    Testing::Console console;
    const char* term;
    const char* noColor;
    testing::Matcher<const std::string&> output;
};

TEST(MuxctlTest, HasColoursAndAnIndicatorOnATerminalThatShowsThem) {
    constexpr const char* kWaiting = "waiting for the answer";
    const auto onlyTheAnswer = MatchesRegex("ACK   open[^\n]*\r?\n");
    const std::vector<ConsoleRow> rows = {
        {Testing::Console::kTerminal, "xterm", "",
         AllOf(HasSubstr("\033[1;32mACK\033[0m   open"), HasSubstr(kWaiting))},
        {Testing::Console::kTerminal, "xterm", "1", AllOf(HasSubstr("ACK   open"), HasSubstr(kWaiting))},
        {Testing::Console::kTerminal, "dumb", "", onlyTheAnswer},
        {Testing::Console::kPipe, "xterm", "", onlyTheAnswer},
    };
    for (const ConsoleRow& row : rows) {
        ProcessSetup setup;
        setup.console = row.console;
        setup.mergesError = true;
        setup.variables = {{"TERM", row.term}, {"NO_COLOR", row.noColor}};
        const Ending ending = Exchanged(Words{"open"} + kLock, 0, kAckData, setup).ending;
        EXPECT_THAT(ending.output, row.output) << row.term << row.noColor;
    }
}

}  // namespace
}  // namespace Muxctl
