// The C++ examples with the real Mux and a simulated gateway.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/MuxSystem.h"

namespace MuxClient {
namespace {

using SystemTest::MuxProcess;
using SystemTest::MuxSystem;
using Testing::Ending;
using testing::HasSubstr;
using Testing::Process;
using testing::StartsWith;
using Words = std::vector<std::string>;

constexpr const char* kHost = "127.0.0.1";

TEST(OpenDoorExample, OpensALockAndPrintsACard) {
    MuxSystem system;
    Process example({OPEN_DOOR, kHost, std::to_string(system.Port()), "1", "5"});
    EXPECT_TRUE(example.WaitForOutput(R"("MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})"
                                      "\n"))
        << example.ErrorOutput();
    EXPECT_TRUE(system.Gateway().RaiseCard(5, {0x04, 0xA1}));
    EXPECT_EQ(example.WaitForExit(), 0) << example.ErrorOutput();
    EXPECT_THAT(example.Output(), HasSubstr("\nCard 04A1 at gateway 1, lock 5\n"));
}

TEST(OpenDoorExample, SaysByItsStatusThatNoCardCame) {
    MuxSystem system;
    const Ending ending = Testing::RunToEnd({OPEN_DOOR, kHost, std::to_string(system.Port()), "1", "5", "1"});
    EXPECT_EQ(ending.status, 3) << ending.error;
}

TEST(OpenDoorExample, KnowsThatTheLockWasOpenedWhenTheMuxEnds) {
    MuxSystem system;
    Process example({OPEN_DOOR, kHost, std::to_string(system.Port()), "1", "5"});
    EXPECT_TRUE(example.WaitForOutput(R"("Success":true)")) << example.ErrorOutput();
    system.Mux().Signal(SIGQUIT);
    EXPECT_EQ(example.WaitForExit(), 3) << example.ErrorOutput();
}

TEST(OpenDoorExample, SaysThatItIsRefused) {
    MuxSystem system;
    const Ending ending = Testing::RunToEnd({OPEN_DOOR, kHost, std::to_string(system.Port()), "9", "5"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "Refused: Error in request\n");
}

TEST(OpenDoorExample, TakesOnlyNumbersThatAreInRange) {
    for (const auto& [arguments, wrong] : std::vector<std::pair<Words, std::string>>{{{"70000", "1", "5"}, "70000"},
                                                                                     {{"0", "1", "5"}, "0"},
                                                                                     {{"-1", "1", "5"}, "-1"},
                                                                                     {{"5555", "1x", "5"}, "1x"},
                                                                                     {{"5555", "1", ""}, ""}}) {
        Words command = {OPEN_DOOR, kHost};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Ending ending = Testing::RunToEnd(command);
        EXPECT_EQ(ending.status, 64) << testing::PrintToString(arguments);
        EXPECT_THAT(ending.error, StartsWith("\"" + wrong + "\" is not a number from "));
    }
}

TEST(Examples, PrintTheirUsageInsteadOfDoingAnythingWithoutArguments) {
    for (const Words& command : std::vector<Words>{{OPEN_DOOR}, {OPEN_DOOR, kHost, "5555", "1"}, {WATCH_CARDS}}) {
        const Ending ending = Testing::RunToEnd(command);
        EXPECT_EQ(ending.status, 64);
        EXPECT_EQ(ending.output, "");
        EXPECT_THAT(ending.error, StartsWith("Usage: "));
    }
}

TEST(Examples, PrintTheirUsageOnRequest) {
    for (const char* const program : {OPEN_DOOR, WATCH_CARDS}) {
        const Ending ending = Testing::RunToEnd({program, "--help"});
        EXPECT_EQ(ending.status, 0);
        EXPECT_THAT(ending.output, StartsWith("Usage: "));
    }
}

TEST(WatchCardsExample, ConnectsAgainWhenTheMuxIsBack) {
    Simulator::GatewaySimulator gateway{{kHost, 0, {5}}};
    gateway.Start();
    const Testing::ReservedPort port;
    const Testing::TemporaryFolder folder;
    const std::string configuration = folder.Write("mux.json", SystemTest::ConfigurationWithGateway(gateway.Port()));
    Process watch({WATCH_CARDS, kHost, std::to_string(port.Number())});
    EXPECT_TRUE(watch.WaitForErrorOutput("Connection refused\n"));
    for (const int card : {1, 2}) {
        MuxProcess mux({"--port", "--port=" + std::to_string(port.Number()), "--configFile", configuration, "--debug"});
        EXPECT_TRUE(mux.WaitFor("to state READY"));
        EXPECT_TRUE(mux.WaitFor("Client with FD "));
        EXPECT_TRUE(gateway.RaiseCard(5, {static_cast<std::uint8_t>(card)}));
        EXPECT_TRUE(watch.WaitForNext("Card 0" + std::to_string(card) + " at gateway 1, lock 5\n"))
            << watch.ErrorOutput();
    }
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr(" has closed the connection"));
}

}  // namespace
}  // namespace MuxClient
