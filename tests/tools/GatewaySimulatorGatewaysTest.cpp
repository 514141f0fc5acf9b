// Several gateways in one process, and whitelists that outlive it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/OpenLockFrames.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/SimulatorProcess.h"

namespace {

using testing::HasSubstr;
using Testing::kNoRoute;
using Testing::kOk;
using Testing::kOpen;
using testing::Not;
using Testing::PlainSocket;
using Testing::SimulatorProcess;

const char* const kTwoGateways = R"({"Enabled": true, "Gateways": [
    {"ID": 7, "Description": "Hall", "Port": 0, "Devices": [{"ID": 5, "Name": "Door"}]},
    {"ID": 8, "IpAddress": "127.0.0.1", "Port": 0}]})";

class GatewaySimulatorGatewaysTest : public testing::Test {
  protected:
    std::string Write(const std::string& text) const { return folder_.Write("site.json", text); }
    std::string PathOf(const std::string& name) const { return (folder_.Path() / name).string(); }

    Testing::TemporaryFolder folder_;
};

TEST_F(GatewaySimulatorGatewaysTest, AnswersForEachByItself) {
    SimulatorProcess program({"--gateways", Write(kTwoGateways)});
    PlainSocket hall(program.PortBehind("7: Listening on 127.0.0.1:"));
    PlainSocket other(program.PortBehind("8: Listening on 127.0.0.1:"));
    hall.Send(kOpen);
    EXPECT_EQ(hall.Receive(20), kOk);
    other.Send(kOpen);
    EXPECT_EQ(other.Receive(20), kNoRoute);
}

TEST_F(GatewaySimulatorGatewaysTest, PutsTheIdInFrontOfLinesAboutAGateway) {
    SimulatorProcess program({"--gateways", Write(kTwoGateways)});
    PlainSocket hall(program.PortBehind("7: Listening on 127.0.0.1:"));
    program.PortBehind("8: Listening on 127.0.0.1:");  // a line that could come between the two below
    hall.Send(kOpen);
    EXPECT_TRUE(program.WaitForOutput("<- OK lock 5 ref 3\n"));
    program.Write("quit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(),
                testing::ContainsRegex("\n7: [0-9:.]+ -> OPEN_LOCK lock 5 seq 1001 ref 3 payload 00000000\n7: "));
}

TEST_F(GatewaySimulatorGatewaysTest, TakesCommandsForEach) {
    SimulatorProcess program({"--gateways", Write(kTwoGateways)});
    program.Write("locks\n8: counter 41\n8: locks\nuse 8\ncounter 42\nlocks\n9: locks\nquit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(), HasSubstr("7: counter 1000\n7: lock 5: closed"));
    EXPECT_THAT(program.Output(), HasSubstr("8: counter 41\n8: counter 42\n"));
    EXPECT_THAT(program.Output(), HasSubstr("error: unknown gateway 9\n"));
}

TEST_F(GatewaySimulatorGatewaysTest, ListensOnTheAddressOfTheOptionInPlaceOfTheFiles) {
    const std::string file = Write(R"({"Gateways": [{"ID": 7, "IpAddress": "192.0.2.1", "Port": 0}]})");
    SimulatorProcess refused({"--gateways", file});
    EXPECT_EQ(refused.WaitForExit(), 1);
    EXPECT_EQ(refused.Output(), "gateway-simulator: cannot listen on 192.0.2.1:0: Cannot assign requested address\n");
    SimulatorProcess program({"--gateways", file, "--host", "127.0.0.1"});
    EXPECT_TRUE(program.WaitForOutput("Listening on 127.0.0.1:"));
}

TEST_F(GatewaySimulatorGatewaysTest, DoesNotStartWithABadFile) {
    const std::string gateways = Write(R"({"Gateways": [{"ID": 7, "Prot": 5}]})");
    const std::string cards = folder_.Write("cards.json", "{\"Locks\": [");
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
        {{"--gateways", gateways}, gateways + ": Gateways[0] has no member \"Prot\"; "},
        {{"--gateways", PathOf("none")}, PathOf("none") + ": cannot be read\n"},
        {{"--port", "0", "--whitelist-file", cards}, cards + ": is not JSON: line 1, "},
    };
    for (const auto& [options, error] : rows) {
        SimulatorProcess program(options);
        EXPECT_EQ(program.WaitForExit(), 64) << error;
        const std::string expected = "gateway-simulator: " + error;
        EXPECT_EQ(error.back() == '\n' ? program.Output() : program.Output().substr(0, expected.size()), expected);
    }
}

TEST_F(GatewaySimulatorGatewaysTest, RefusesOptionsOfOneGatewayBesideAFileOfThem) {
    const std::string file = Write(kTwoGateways);
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {"--port", "0"}, {"--locks", "5"}, {"--counter", "1"}, {"--capacity", "1"}, {"--whitelist-file", "x"}}) {
        std::vector<std::string> words = {"--gateways", file};
        words.insert(words.end(), options.begin(), options.end());
        SimulatorProcess program(words);
        EXPECT_EQ(program.WaitForExit(), 64) << options.front();
        EXPECT_THAT(program.Output(), HasSubstr(options.front()));
    }
}

TEST_F(GatewaySimulatorGatewaysTest, KeepsWhitelistsBeyondItsEnd) {
    const std::string file = PathOf("cards.json");
    {
        SimulatorProcess program({"--port", "0", "--locks", "5", "--whitelist-file", file});
        PlainSocket client(program.PortBehind("Listening on 127.0.0.1:"));
        client.Send("1A FE FD 15 01 00 00 03 00 00 03 E9 00 00 00 05 03 00 01 04 04 A1 B2 C3 65 14");
        EXPECT_EQ(client.Receive(20), kOk);
        program.Signal(SIGKILL);
        EXPECT_EQ(program.WaitForExit(), -1);
    }
    SimulatorProcess program({"--port", "0", "--locks", "5,6", "--whitelist-file", file});
    program.Write("cards 5\ncards 6\nquit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(), HasSubstr("whitelist of lock 5: 1 cards\n  04A1B2C3 setup 0 option 1\n"
                                            "whitelist of lock 6: 0 cards\n"));
}

TEST_F(GatewaySimulatorGatewaysTest, KeepsTheWhitelistsOfEachGatewayInItsFile) {
    folder_.Write("hall.json", R"({"Locks": [{"ID": 5, "Cards": [{"Card": "04A1"}]}]})");
    SimulatorProcess program({"--gateways", Write(R"({"Gateways": [
        {"ID": 7, "Port": 0, "WhitelistFile": "hall.json", "Devices": [{"ID": 5}]},
        {"ID": 8, "Port": 0, "Devices": [{"ID": 5}]}]})")});
    program.Write("cards 5\n8: cards 5\nquit\n");
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_THAT(program.Output(), HasSubstr("7: whitelist of lock 5: 1 cards\n"));
    EXPECT_THAT(program.Output(), HasSubstr("8: whitelist of lock 5: 0 cards\n"));
}

TEST_F(GatewaySimulatorGatewaysTest, TellsOfWhitelistsThatItCannotKeepAlsoWhenQuiet) {
    SimulatorProcess program({"--port", "0", "--quiet", "--whitelist-file", PathOf("none/cards.json")});
    PlainSocket client(program.PortBehind("Listening on 127.0.0.1:"));
    client.Send("1A FE FD 15 01 00 00 03 00 00 03 E9 00 00 00 05 03 00 01 04 04 A1 B2 C3 65 14");
    EXPECT_EQ(client.Receive(20), kOk);
    EXPECT_TRUE(program.WaitForOutput("error: cannot write the whitelists: "));
    EXPECT_THAT(program.Output(), Not(HasSubstr("ADD_TO_WHITELIST")));
}

}  // namespace
