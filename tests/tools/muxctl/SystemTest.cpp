// muxctl with the real Mux and simulated gateways, and the example in Python.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

using SystemTest::ConfigurationWithGateway;
using SystemTest::MuxProcess;
using SystemTest::MuxSystem;
using testing::HasSubstr;
using testing::StartsWith;

const Words kLock = {"--gateway", "1", "--lock", "5"};

Ending RunWith(const MuxSystem& system, const Words& arguments, const Words& time = kMuchTime) {
    return RunMuxctl(arguments + ToPort(system.Port()) + time);
}

bool IsOpen(MuxSystem& system) {
    const auto lock = system.Gateway().FindLock(5);
    return lock && lock->StateAt(Simulator::Lock::TimePoint::clock::now()) == Simulator::Lock::State::kOpen;
}

TEST(MuxctlSystemTest, OperatesALock) {
    MuxSystem system;
    const Ending status = RunWith(system, Words{"status"} + kLock);
    EXPECT_EQ(status.status, 0) << status.error;
    EXPECT_THAT(status.output, HasSubstr("      battery                 full\n"));

    EXPECT_EQ(RunWith(system, Words{"open"} + kLock).status, 0);
    EXPECT_TRUE(IsOpen(system));
    EXPECT_EQ(RunWith(system, Words{"close"} + kLock).status, 0);
    EXPECT_FALSE(IsOpen(system));
}

TEST(MuxctlSystemTest, ChangesAWhitelist) {
    MuxSystem system;
    const Words add = Words{"whitelist", "add", "--card", "04A1B2C3", "--uid", "--options", "1"} + kLock;
    EXPECT_EQ(RunWith(system, add).status, 0);
    const Ending again = RunWith(system, add);
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.output, HasSubstr(": Already in whitelist. [error 2] ("));
    EXPECT_EQ(RunWith(system, Words{"whitelist", "remove", "--card", "04A1B2C3", "--uid"} + kLock).status, 0);
    EXPECT_EQ(RunWith(system, Words{"whitelist", "clear"} + kLock).status, 0);
}

TEST(MuxctlSystemTest, EndsWithTwoWhenTheGatewayIsSilent) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), "fault silence");
    const Ending ending = RunWith(system, Words{"status"} + kLock, {"--timeout", "3"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.error, HasSubstr(" within 3.0 s, though the Mux itself answers; the request may"));
}

// The answer comes long after the Mux itself was asked.
TEST(MuxctlSystemTest, HasPatienceWithASlowGateway) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), "fault delay 7000");
    const Ending ending = RunMuxctl(Words{"open"} + kLock + ToPort(system.Port()));
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_TRUE(IsOpen(system));
}

TEST(MuxctlSystemTest, SeesAMuxThatHangs) {
    MuxSystem system;
    system.Mux().Signal(SIGSTOP);
    EXPECT_EQ(RunWith(system, {"health"}, {"--timeout", "1"}).status, 2);
    system.Mux().Signal(SIGCONT);
    EXPECT_EQ(RunWith(system, {"health"}).status, 0);
}

// A Mux that is started for a gateway, twice on the same port.
class WatchSystemTest : public testing::Test {
  protected:
    WatchSystemTest() { gateway_.Start(); }

    std::unique_ptr<MuxProcess> StartMux() {
        const Words arguments = {"--port", "--port=" + std::to_string(port_.Number()), "--configFile",
                                 folder_.Write("mux.json", ConfigurationWithGateway(gateway_.Port())), "--debug"};
        auto mux = std::make_unique<MuxProcess>(arguments);
        EXPECT_TRUE(mux->WaitFor("to state READY"));
        return mux;
    }

    // Raises a card when the Mux has the watching client, and waits until that has printed it.
    void ExpectCard(const MuxProcess& mux, const RunningProgram& watch, std::uint8_t card, const std::string& text) {
        EXPECT_TRUE(mux.WaitFor("Client with FD "));
        EXPECT_TRUE(gateway_.RaiseCard(5, {card}));
        EXPECT_TRUE(watch.WaitForOutput("card at reader  gateway 1  lock 5  card " + text + "\n"))
            << watch.Output() << watch.ErrorOutput();
    }

    Simulator::GatewaySimulator gateway_{{"127.0.0.1", 0, {5}}};
    Testing::ReservedPort port_;
    Testing::TemporaryFolder folder_;
};

TEST_F(WatchSystemTest, GoesOnWhenTheMuxGoesAwayAndComesBack) {
    RunningProgram watch(MuxctlCommand(Words{"watch"} + ToPort(port_.Number())));
    EXPECT_TRUE(watch.WaitForErrorOutput("Connection refused; trying again every second\n"));
    auto mux = StartMux();
    ExpectCard(*mux, watch, 0x01, "01");
    mux->Signal(SIGQUIT);
    EXPECT_EQ(mux->WaitForEnd(), "status 0");
    EXPECT_TRUE(watch.WaitForErrorOutput(" the connection"));
    mux = StartMux();
    ExpectCard(*mux, watch, 0x02, "02");
}

// The script in the manual, on a folder with a list of cards. It runs muxctl under a program that takes down the
// arguments, knows the Mux's port and has enough of the events.
class ManualExampleTest : public testing::Test {
  protected:
    // The lines of the only display among the page's examples.
    static std::string Script() {
        std::ifstream page(MUXCTL_MANUAL);
        const std::string text{std::istreambuf_iterator<char>(page), std::istreambuf_iterator<char>()};
        const std::string start = ".Bd -literal -offset indent\n";
        const std::size_t begin = text.find(start, text.find(".Sh EXAMPLES")) + start.size();
        return text.substr(begin, text.find(".Ed\n", begin) - begin);
    }

    Words Command(const std::string& cards, int events) {
        folder_.Write("cards.txt", cards);
        folder_.WriteProgram("muxctl",
                             "#!/bin/bash\necho \"$*\" >>calls\n[ \"$1\" = watch ] && set -- \"$@\" --count " +
                                 std::to_string(events) + "\nexec " MUXCTL_PROGRAM " --port " +
                                 std::to_string(system_.Port()) + " \"$@\"\n");
        const std::string folder = folder_.Path().string();
        return {"bash", "-c", "cd " + folder + " && PATH=" + folder + ":$PATH\n" + Script()};
    }

    MuxSystem system_{SystemTest::WithGateways({{1, {5}}, {2, {6}}, {3, {7}}, {4, {8}}})};
    Testing::TemporaryFolder folder_;
};

// Each event from a gateway of its own: what comes from one together comes late.
TEST_F(ManualExampleTest, OpensForCardsOfTheListOnly) {
    RunningProgram script(Command("04A1B2C3\n0102\n", 4));
    ASSERT_TRUE(system_.Mux().WaitFor("Client with FD "));
    EXPECT_TRUE(system_.Gateway(0).RaisePin(5, "12"));
    // Let in already.
    EXPECT_TRUE(system_.Gateway(1).RaiseCard(6, {0x01, 0x02}, 0x0F));
    EXPECT_TRUE(system_.Gateway(2).RaiseCard(7, {0x04, 0xA1, 0xB2}));
    const std::string watched = "watch --json\n";
    const std::string denied = watched + "access-denied --gateway 3 --lock 7 --event\n";
    EXPECT_TRUE(Testing::WaitUntil([&] { return folder_.Read("calls") == denied; }, SystemTest::kDeadline));
    EXPECT_TRUE(system_.Gateway(3).RaiseCard(8, {0x01, 0x02}));
    EXPECT_EQ(script.WaitForExit(), 0) << script.ErrorOutput();
    EXPECT_EQ(folder_.Read("calls"), denied + "open-close --gateway 4 --lock 8 --event\n");
}

Words PythonExample(std::uint16_t port, const Words& more) {
    return Words{"python3", PYTHON_EXAMPLE} + ToPort(port) + more;
}

TEST(ExampleTest, InPythonOpensALockAndPrintsACard) {
    MuxSystem system;
    RunningProgram example(PythonExample(system.Port(), Words{"--events", "1"} + kLock));
    EXPECT_TRUE(example.WaitForOutput("ACK {\"Success\": true, \"ErrorCode\": 0}\n")) << example.ErrorOutput();
    EXPECT_TRUE(IsOpen(system));
    EXPECT_TRUE(system.Gateway().RaiseCard(5, {0x04, 0xA1}));
    EXPECT_EQ(example.WaitForExit(), 0) << example.ErrorOutput();
    EXPECT_THAT(example.Output(), HasSubstr("card 04A1 at lock 5 of gateway 1\n"));
}

TEST(ExampleTest, InPythonSaysThatItIsRefused) {
    MuxSystem system;
    const Ending ending = RunToEnd(PythonExample(system.Port(), {"--gateway", "9", "--lock", "5"}));
    EXPECT_EQ(ending.status, 1) << ending.error;
    EXPECT_EQ(ending.output, "NACK {\"ErrorCode\": 0, \"Message\": \"Error in request\"}\n");
}

TEST(ExampleTest, InPythonSaysThatNobodyIsThere) {
    const Testing::ReservedPort port;
    const Ending ending = RunToEnd(PythonExample(port.Number(), kLock));
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.error, StartsWith("No answer from the Mux: "));
}

}  // namespace
}  // namespace Muxctl
