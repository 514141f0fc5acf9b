// The program itself, as a process with its standard streams in pipes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "mux/Version.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/OpenLockFrames.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/SimulatorProcess.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using Testing::kNextOk;
using Testing::kNextOpen;
using Testing::kOk;
using Testing::kOpen;
using testing::Not;
using Testing::PlainSocket;
using Testing::SimulatorProcess;
using testing::StartsWith;
using Testing::TemporaryFolder;

TEST(GatewaySimulatorProgramTest, PrintsALineForEachFrameAndAnswer) {
    SimulatorProcess program({"--port", "0", "--locks", "5,6"});
    PlainSocket client(program.PortBehind());
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), kOk);
    EXPECT_TRUE(program.WaitForOutput(" -> OPEN_LOCK lock 5 seq 1001 ref 3 payload 00000000\n"));
    EXPECT_TRUE(program.WaitForOutput(" <- OK lock 5 ref 3\n"));
}

// A fault that is blocked ends the process before a debugger or a sanitizer has had its say.
TEST(GatewaySimulatorProgramTest, KeepsSignalsButNoFaultsFromTheThreadsOfItsGateways) {
    SimulatorProcess program({"--port", "0"});
    program.PortBehind();
    EXPECT_THAT(program.BlockedSignals(),
                testing::Contains(testing::AllOf(testing::Contains(SIGTERM), testing::Contains(SIGINT),
                                                 testing::Contains(SIGWINCH), Not(testing::Contains(SIGSEGV)),
                                                 Not(testing::Contains(SIGBUS)), Not(testing::Contains(SIGFPE)),
                                                 Not(testing::Contains(SIGILL)), Not(testing::Contains(SIGABRT)),
                                                 Not(testing::Contains(SIGTRAP)), Not(testing::Contains(SIGSYS)))));
}

TEST(GatewaySimulatorProgramTest, PrintsNoFramesWhenQuiet) {
    SimulatorProcess program({"--port", "0", "--quiet"});
    PlainSocket client(program.PortBehind());
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), kOk);
    program.Write("faults\nquit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(), HasSubstr("no faults\n"));
    EXPECT_THAT(program.Output(), Not(HasSubstr("OPEN_LOCK")));
}

TEST(GatewaySimulatorProgramTest, TakesCommandsFromStandardInput) {
    SimulatorProcess program({"--port", "0"});
    PlainSocket client(program.PortBehind());
    ASSERT_TRUE(program.WaitForOutput("connection from 127.0.0.1:"));
    program.Write("nonsense\nwait 1\npin 5 1234\n");
    EXPECT_EQ(client.Receive(31),
              "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 16 00 00 00 00 00 00 00 04 31 32 33 34 B0 6A");
    EXPECT_TRUE(program.WaitForOutput("error: unknown command \"nonsense\"; try help\n"));
}

TEST(GatewaySimulatorProgramTest, GoesOnWhenStandardInputCloses) {
    SimulatorProcess program({"--port", "0"});
    const std::uint16_t port = program.PortBehind();
    program.Write("counter 1000\nlocks");
    program.CloseInput();
    ASSERT_TRUE(program.WaitForOutput("counter 1000\n"));
    PlainSocket client(port);
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), kOk);
}

TEST(GatewaySimulatorProgramTest, RunsAScript) {
    const TemporaryFolder folder;
    const std::string script =
        folder.Write("script", "# one answer under another code\nfault answer-code 0x33\nwait 1\nfaults\n");
    SimulatorProcess program({"--port", "0", "--script", script});
    PlainSocket client(program.PortBehind());
    ASSERT_TRUE(program.WaitForOutput("answer-code 51 (for 1 more)\n"));
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 33 00 89 1A");
}

TEST(GatewaySimulatorProgramTest, EndsWithZeroOnTermInterruptAndQuit) {
    for (const int number : {SIGTERM, SIGINT}) {
        SimulatorProcess program({"--port", "0"});
        program.PortBehind();
        program.Signal(number);
        EXPECT_EQ(program.WaitForExit(), 0) << number;
    }
    SimulatorProcess program({"--port", "0"});
    program.PortBehind();
    program.Write("quit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(), testing::MatchesRegex("Listening on 127.0.0.1:[0-9]+\n"));
}

TEST(GatewaySimulatorProgramTest, EndsWhileAScriptWaitsAndAnAnswerIsDelayed) {
    const TemporaryFolder folder;
    const std::string script = folder.Write("script", "fault delay 3600000\nfaults\nwait 3600000\n");
    SimulatorProcess program({"--port", "0", "--script", script});
    PlainSocket client(program.PortBehind());
    ASSERT_TRUE(program.WaitForOutput("delay 3600000 (for 1 more)\n"));
    client.Send(kOpen);
    ASSERT_TRUE(program.WaitForOutput("<- OK lock 5 ref 3 [delay 3600000]\n"));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.WaitForExit(), 0);
}

TEST(GatewaySimulatorProgramTest, SaysThatItsPortIsInUse) {
    SimulatorProcess first({"--port", "0"});
    const std::string port = std::to_string(first.PortBehind());
    SimulatorProcess second({"--port", port});
    EXPECT_EQ(second.WaitForExit(), 1);
    EXPECT_EQ(second.Output(), "gateway-simulator: cannot listen on 127.0.0.1:" + port + ": Address already in use\n");
}

TEST(GatewaySimulatorProgramTest, PrintsItsVersion) {
    SimulatorProcess program({"--version"});
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_EQ(program.Output(), std::string("gateway-simulator ") + Mux::kVersion + "\n");
}

struct BadOptions {
    std::vector<std::string> options;
    // The beginning of the reason.
    std::string reason;
};

TEST(GatewaySimulatorProgramTest, RefusesBadOptions) {
    const std::vector<BadOptions> rows = {
        {{"--prot", "5"}, "unknown option --prot; did you mean --port?\n"},
        {{"-lock=5"}, "unknown option -lock; did you mean --locks?\n"},
        {{"--verbose"}, "unknown option --verbose\n"},
        {{"--", "stray"}, "unexpected argument \"stray\"\n"},
        {{"--port", "65536"}, ""},
        {{"--port", "-1"}, ""},
        {{"--locks", "five"}, ""},
        {{"--locks", "5,0b1"}, ""},
        {{"--locks", "1_0"}, ""},
        {{"--locks", "5,6,0x5"}, ""},
        {{"--counter", "4294967296"}, ""},
        {{"--counter", "1.5"}, ""},
        {{"--counter"}, ""},
        {{"--host", ""}, ""},
    };
    for (const BadOptions& row : rows) {
        SimulatorProcess program(row.options);
        EXPECT_EQ(program.WaitForExit(), 64) << testing::PrintToString(row.options);
        EXPECT_THAT(program.Output(), StartsWith("gateway-simulator: " + row.reason));
        EXPECT_THAT(program.Output(), EndsWith("\nRun 'gateway-simulator --help' for details\n"));
    }
}

TEST(GatewaySimulatorProgramTest, ListensOnTheAddressesOfAName) {
    SimulatorProcess program({"--port", "0", "--host", "localhost"});
    PlainSocket client(program.PortBehind("Listening on localhost:"));
    client.Send(kOpen);
    EXPECT_EQ(client.Receive(20), kOk);
}

TEST(GatewaySimulatorProgramTest, NamesAHostThatIsUnknown) {
    const std::string tooLongForAName(64, 'x');
    SimulatorProcess program({"--host", tooLongForAName, "--port", "2101"});
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_THAT(program.Output(),
                StartsWith("gateway-simulator: cannot listen on " + tooLongForAName + ":2101: Host not found"));
}

// Frames of docs/gateway-protocol.md.
TEST(GatewaySimulatorProgramTest, HidesKeepAlivesWhenToldTo) {
    const TemporaryFolder folder;
    const std::string script = folder.Write("script", "keep-alives off\nfaults\n");
    SimulatorProcess program({"--port", "0", "--script", script});
    PlainSocket client(program.PortBehind());
    ASSERT_TRUE(program.WaitForOutput("no faults\n"));
    client.Send("13 FE FD 0E 01 00 00 03 00 00 03 E9 00 00 01 00 01 88 39");
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 01 00 00 08 C5 90");
    client.Send(kNextOpen);
    EXPECT_EQ(client.Receive(20), kNextOk);
    EXPECT_TRUE(program.WaitForOutput("<- OK lock 5"));
    EXPECT_THAT(program.Output(), Not(HasSubstr("lock 256")));
    program.Write("keep-alives on\nlocks\n");
    ASSERT_TRUE(program.WaitForOutput("counter 1002\n"));
    client.Send("13 FE FD 0E 01 00 00 03 00 00 03 E9 00 00 01 00 01 88 39");
    EXPECT_TRUE(program.WaitForOutput("<- SEQUENCE_COUNTER_ERROR (7) counter 0x000003EA lock 256 ref 3\n"));
}

}  // namespace
