// The program itself against a Mux that the test plays: what it sends for each command line, what it prints, and how
// it ends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/SideBySide.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using Words = std::vector<std::string>;

constexpr const char* kAckData = R"({"Success":true,"ErrorCode":0})";
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

TEST(MuxctlTest, SendsTheRequestThatTheCommandNames) {
    const std::vector<Row> rows = {
        {Words{"status"} + kLock, R"("MessageCode":12,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"open"} + kLock, R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"open"} + kLock + Words{"--event"}, R"("MessageCode":110,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"close"} + kLock, R"("MessageCode":11,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"close", "--event"} + kLock, R"("MessageCode":111,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"open-close"} + kLock, R"("MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":5}})"},
        {Words{"open-close", "--duration", "255", "--event"} + kLock,
         R"("MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":255}})"},
        {Words{"access-denied"} + kLock, R"("MessageCode":14,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"access-denied", "--event"} + kLock, R"("MessageCode":114,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"whitelist", "add"} + kLock + kCard,
         R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":0,"cardData":"04A1B2C3",)"
         R"("isUIDCard":false}})"},
        {Words{"whitelist", "add", "--uid", "--setup", "255", "--options", "1"} + kLock + kCard,
         R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":255,"options":1,"cardData":"04A1B2C3",)"
         R"("isUIDCard":true}})"},
        {Words{"whitelist", "clear"} + kLock, R"("MessageCode":22,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"whitelist", "enable"} + kLock, R"("MessageCode":23,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"whitelist", "disable"} + kLock, R"("MessageCode":24,"Data":{"gatewayID":1,"lockID":5}})"},
        {Words{"whitelist", "remove", "--card", "ab"} + kLock,
         R"("MessageCode":25,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":0,"cardData":"ab",)"
         R"("isUIDCard":false}})"},
        {Words{"open", "--gateway", "-7", "--lock", "65536"},
         R"("MessageCode":10,"Data":{"gatewayID":-7,"lockID":65536}})"},
        {Words{"open", "--gateway", "0", "--lock", "-2147483648"},
         R"("MessageCode":10,"Data":{"gatewayID":0,"lockID":-2147483648}})"},
        {Words{"whitelist", "add", "--uid", "--card", CardOf(10)} + kLock,
         R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":0,"cardData":")" + CardOf(10) +
             R"(","isUIDCard":true}})"},
        {Words{"whitelist", "remove", "--card", CardOf(233)} + kLock,
         R"("MessageCode":25,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":0,"cardData":")" + CardOf(233) +
             R"(","isUIDCard":false}})"},
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
        const Ending ending = RunMuxctl(arguments + Words{"--port", number});
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
        const Ending ending = RunMuxctl(Words{"--timeout", "0.2"} + arguments + silent.PortArguments());
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
        RunningProgram program(MuxctlCommand(row.arguments + silent.PortArguments()));
        silent.Accept();
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
    RunningProgram left(MuxctlCommand(Words{"open"} + kLock + mux.PortArguments()));
    mux.Accept();
    mux.ReceiveText();
    mux.HangUp();
    EXPECT_EQ(left.WaitForExit(), 2);
    EXPECT_THAT(left.ErrorOutput(),
                HasSubstr(" has closed the connection; the Mux may have ended, or this is not its port\n"));

    RunningProgram deceived(MuxctlCommand(Words{"open"} + kLock + mux.PortArguments()));
    mux.Accept();
    mux.ReceiveText();
    mux.Send("HTTP/1.1 400 Bad Request\r\n\r\n");
    EXPECT_EQ(deceived.WaitForExit(), 2);
    EXPECT_THAT(deceived.ErrorOutput(), HasSubstr(" is not a Mux: "));
    EXPECT_THAT(deceived.ErrorOutput(), HasSubstr("; is this the Mux's port?\n"));
}

TEST(MuxctlTest, EndsWith64WhenItIsUsedWrongly) {
    const Testing::TemporaryFolder folder;
    const std::string noObject = folder.Write("list.json", "[]");
    const std::vector<Words> rows = {
        {},
        {"unlock"},
        {"open"},
        {"open", "--gateway", "1"},
        {"open", "--gateway", "one", "--lock", "5"},
        {"open", "--gateway", "2147483648", "--lock", "5"},
        {"open", "--gateway", "01", "--lock", "5"},
        {"open", "--gateway", "1", "--lock", "0x10"},
        {"open", "--gateway", "1", "--lock", "-05"},
        {"open", "--gateway", "1", "--lock", "+5"},
        {"open", "--gateway", "1", "--lock", " 5"},
        {"open", "--gateway", "1", "--lock", ""},
        {"open", "--gateway", "-", "--lock", "5"},
        {"open", "--gateway", "1e1", "--lock", "5"},
        Words{"open", "--duration", "5"} + kLock,
        Words{"open-close", "--duration", "0"} + kLock,
        Words{"open-close", "--duration", "256"} + kLock,
        Words{"open-close", "--duration", "020"} + kLock,
        Words{"open-close", "--duration", "18446744073709551617"} + kLock,
        Words{"status", "--event"} + kLock,
        {"whitelist"},
        Words{"whitelist", "add"} + kLock,
        Words{"whitelist", "add", "--card", "4A1"} + kLock,
        Words{"whitelist", "add", "--card", "0G"} + kLock,
        Words{"whitelist", "add", "--card", ""} + kLock,
        Words{"whitelist", "add", "--setup", "256"} + kLock + kCard,
        Words{"whitelist", "add", "--setup", "010"} + kLock + kCard,
        Words{"whitelist", "add", "--options", "0x1"} + kLock + kCard,
        Words{"whitelist", "add", "--options", "-1"} + kLock + kCard,
        Words{"whitelist", "add", "--options", "4294967296"} + kLock + kCard,
        Words{"whitelist", "add", "--uid", "--card", CardOf(11)} + kLock,
        Words{"whitelist", "remove", "--card", CardOf(11), "--uid"} + kLock,
        Words{"whitelist", "add", "--card", CardOf(234)} + kLock,
        Words{"whitelist", "remove", "--card", CardOf(234)} + kLock,
        {"watch", "--count", "-1"},
        {"watch", "--count", "010"},
        {"health", "--port", "0"},
        {"health", "--port", "65536"},
        {"health", "--port", "05555"},
        {"health", "--port", "0x15b3"},
        {"health", "--timeout", "0"},
        {"health", "--timeout", "86401"},
        {"health", "--timeout", "-1"},
        {"health", "--timeout", "0x1"},
        {"health", "--timeout", "1.5.5"},
        {"health", "--timeout", "."},
        {"health", "--timeout", "nan"},
        {"health", "stray"},
        {"send"},
        {"send", "{}", "--file", noObject},
        {"send", "--file", folder.Path() / "none"},
        {"check-config"},
    };
    SystemTest::ForEachSideBySide(rows, [](const Words& arguments) {
        const Ending ending = RunMuxctl(arguments);
        EXPECT_EQ(ending.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(ending.output, "") << testing::PrintToString(arguments);
        EXPECT_NE(ending.error, "") << testing::PrintToString(arguments);
    });
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
    RunningProgram watch(OntoAFullDisk(Words{"watch"} + mux.PortArguments()));
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
    const Ending ending = RunMuxctl(Words{"send", "--no-answer", "--anyway", "no JSON"} + mux.PortArguments());
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
            const Ending ending = RunMuxctl(Words{"send", text, "--port", std::to_string(port.Number())} + more);
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
    const Ending ending = RunMuxctl({"send", "--file", "-", "--port", std::to_string(port.Number())}, setup);
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

class TerminalTest : public testing::Test {
  protected:
    static ProcessSetup OnTerminal(const std::string& term, const std::string& noColor) {
        ProcessSetup setup;
        setup.console = Testing::Console::kTerminal;
        setup.mergesError = true;
        setup.variables = {{"TERM", term}, {"NO_COLOR", noColor}};
        return setup;
    }
    static std::string OutputOf(const ProcessSetup& setup) {
        return Exchanged(Words{"open"} + kLock, 0, kAckData, setup).ending.output;
    }
};

constexpr const char* kGreenAck = "\033[1;32mACK\033[0m   open";
constexpr const char* kWaiting = "waiting for the answer";

TEST_F(TerminalTest, HasColoursAndAnIndicator) {
    const std::string output = OutputOf(OnTerminal("xterm", ""));
    EXPECT_THAT(output, HasSubstr(kGreenAck));
    EXPECT_THAT(output, HasSubstr(kWaiting));
}

TEST_F(TerminalTest, HasNoColoursWhenTheyAreNotWanted) {
    const std::string output = OutputOf(OnTerminal("xterm", "1"));
    EXPECT_THAT(output, HasSubstr("ACK   open"));
    EXPECT_THAT(output, HasSubstr(kWaiting));
}

TEST_F(TerminalTest, HasNeitherWhenItIsDumb) {
    EXPECT_THAT(OutputOf(OnTerminal("dumb", "")), StartsWith("ACK   open"));
}

TEST_F(TerminalTest, IsNeededForColoursAndIndicator) {
    ProcessSetup setup;
    setup.variables = {{"TERM", "xterm"}, {"NO_COLOR", ""}};
    const Ending ending = Exchanged(Words{"open"} + kLock, 0, kAckData, setup).ending;
    EXPECT_THAT(ending.output, StartsWith("ACK   open"));
    EXPECT_EQ(ending.error, "");
}

TEST(MuxctlHelpTest, GoesToStandardOutput) {
    for (const Words& arguments :
         std::vector<Words>{{"--help"}, {"open", "--help"}, {"whitelist", "add", "-h"}, {"check-config", "--help"}}) {
        const Ending ending = RunMuxctl(arguments);
        EXPECT_EQ(ending.status, 0);
        EXPECT_THAT(ending.output, HasSubstr("Usage: muxctl"));
        EXPECT_EQ(ending.error, "");
    }
}

}  // namespace
}  // namespace Muxctl
