// health of gateways, with the real Mux and every fault of the simulated gateway.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using SystemTest::MuxSystem;
using testing::HasSubstr;
using testing::StartsWith;

// Of gateway 1.
Ending HealthOf(std::uint16_t port, const Words& more = kMuchTime) {
    return RunMuxctl(Words{"health", "--gateway", "1"} + ToPort(port) + more);
}

// How `health` ends, and how its first line begins.
struct Health {
    int status;
    std::string text;
};

// Of a gateway for which these commands were given to its simulator.
void ExpectHealth(const std::string& commands, const Words& time, const Health& health) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), commands);
    const Ending ending = HealthOf(system.Port(), time);
    EXPECT_EQ(ending.status, health.status) << commands;
    EXPECT_THAT(ending.output, StartsWith(health.text)) << commands;
    EXPECT_EQ(ending.error, "") << commands;
}

const Health kOk = {0, "OK - gateway 1: answers | gateway1="};
const Health kNoAnswer = {2, "CRITICAL - gateway 1: no answer | gateway1=U\n"};

TEST(HealthSystemTest, IsOkWhateverDoesNotKeepTheAnswerAway) {
    const Words commands = {"faults",
                            "fault delay 1500 always",
                            "fault byte-by-byte 20 always",
                            "fault wrong-crc always",
                            "fault force-result 8 always",
                            "fault twice always",
                            "fault junk 00 always"};
    SystemTest::ForEachSideBySide(commands, [](const auto& fault) { ExpectHealth(fault, kMuchTime, kOk); });
}

TEST(HealthSystemTest, AsksASecondTime) {
    const Words faults = {"fault silence", "fault close", "fault force-result 7", "fault unknown-reference"};
    SystemTest::ForEachSideBySide(faults, [](const auto& fault) { ExpectHealth(fault, {"--timeout", "8"}, kOk); });
}

TEST(HealthSystemTest, IsCriticalWithoutAnAnswer) {
    const Words faults = {"fault silence always",
                          "fault delay 30000 always",
                          "fault close always",
                          "fault close-mid-frame always",
                          "fault glue always",
                          "fault wrong-length 10 always",
                          "fault wrong-length 200 always",
                          "fault unknown-reference always",
                          "fault force-result 7 always",
                          "fault answer-code 1 always",
                          "fault answer-code 2 always"};
    SystemTest::ForEachSideBySide(faults, [](const auto& fault) {
        ExpectHealth(fault, {"--timeout", "2"}, kNoAnswer);
    });
}

TEST(HealthSystemTest, IsAWarningWhenTheAnswerIsAnother) {
    const std::string error = "answers with error ";
    const std::vector<std::pair<int, std::string>> textsOfResults = {
        {0, "answers as if a lock had address 256 | "},
        {1, error + "1: Unhandled error code or unknown error. | "},
        {5, error + "5: "},
        {12, error + "12: System inconsistancy "},
    };
    SystemTest::ForEachSideBySide(textsOfResults, [](const auto& row) {
        ExpectHealth("fault force-result " + std::to_string(row.first) + " always", kMuchTime,
                     {1, "WARNING - gateway 1: " + row.second});
    });
    MuxSystem system;
    EXPECT_TRUE(system.Gateway().AddLock(256));
    EXPECT_EQ(HealthOf(system.Port()).status, 1);
}

TEST(HealthSystemTest, IsCriticalWhenTheMuxEnds) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), "fault reset always");
    system.Gateway().Stop();
    const Ending ending = HealthOf(system.Port());
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - "));
    system.Mux().WaitForEnd();
}

TEST(HealthSystemTest, IsCriticalForAGatewayThatTheMuxDoesNotHave) {
    MuxSystem system;
    const Ending ending = RunMuxctl(Words{"health", "--gateway", "9"} + ToPort(system.Port()));
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output,
                StartsWith("CRITICAL - gateway 9: not configured, left out at start, or disconnected | "));
}

class SiteHealthTest : public testing::Test {
  protected:
    Ending HealthOfSite(const Words& more, const Words& time = kMuchTime) const {
        return RunMuxctl(Words{"health", "--config", file_} + more + ToPort(system_.Port()) + time);
    }

    MuxSystem system_{SystemTest::WithGateways({{1, {5}}, {2, {6}}})};
    Testing::TemporaryFolder folder_;
    // The last gateway has an ID twice, and is asked once.
    std::string file_ = folder_.Write("hall.json", R"({"Gateways":[
        {"ID":2,"Description":"Cellar","Port":1},{"ID":1,"Description":"Hall","Port":1},{"ID":2,"Port":1}]})");
};

TEST_F(SiteHealthTest, AsksEveryGatewayOnce) {
    const std::size_t before = system_.Gateway(1).ReceivedFrames().size();
    const Ending ending = HealthOfSite({"--all"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.output, StartsWith("OK - 2 of 2 gateways answer | gateway1="));
    EXPECT_THAT(ending.output, HasSubstr("\ngateway 1  Hall    answers ("));
    EXPECT_THAT(ending.output, HasSubstr("\ngateway 2  Cellar  answers ("));
    EXPECT_EQ(system_.Gateway(1).ReceivedFrames().size(), before + 1);
}

// Two hundred one after the other, and not each a tenth of a second later.
TEST_F(SiteHealthTest, AsksManyGatewaysWithinTwoSeconds) {
    constexpr int kGateways = 200;
    std::string list;
    for (int id = 1; id <= kGateways; ++id) {
        list += (list.empty() ? "" : ",") + std::string("{\"ID\":") + std::to_string(id) + "}";
    }
    folder_.Write("hall.json", "{\"Gateways\":[" + list + "]}");
    FakeMux mux;
    const auto start = std::chrono::steady_clock::now();
    ConnectedProgram program(mux, {"health", "--all", "--config", file_});
    for (int count = 0; count < kGateways; ++count) {
        mux.AnswerNext(1, R"({"ErrorCode":8,"Message":"No route."})");
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_GT(elapsed, std::chrono::milliseconds(1900));
    EXPECT_LT(elapsed, std::chrono::seconds(15));
}

TEST_F(SiteHealthTest, WarnsOfOneOfSeveral) {
    SystemTest::RunCommands(system_.Gateway(1), "fault silence always");
    const Ending ending = HealthOfSite({"--all"}, {"--timeout", "3"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, StartsWith("WARNING - 1 of 2 gateways answer; gateway 2 (Cellar): no answer | "));
}

TEST_F(SiteHealthTest, AsksAGatewayByItsName) {
    EXPECT_THAT(HealthOfSite({"--gateway", "Cellar"}).output,
                StartsWith("OK - gateway 2 (Cellar): answers | gateway2="));
    EXPECT_EQ(HealthOfSite({"--gateway", "Celar"}).status, 64);
    EXPECT_EQ(HealthOfSite({"--gateway", "1", "--all"}).status, 64);
    EXPECT_EQ(RunMuxctl({"health", "--all"}).status, 64);
}

TEST_F(SiteHealthTest, IsCriticalWithFilesThatCannotBeUsed) {
    folder_.Write("hall.json", "{");
    const Ending ending = HealthOfSite({"--all"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - " + file_ + " is not JSON"));
}

TEST_F(SiteHealthTest, IsCriticalWithoutAnyGateway) {
    folder_.Write("hall.json", "{}");
    const Ending ending = HealthOfSite({"--all"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, "CRITICAL - the configuration has no gateways\n");
}

TEST(HealthSystemTest, NamesAMuxThatHangs) {
    MuxSystem system;
    system.Mux().Signal(SIGSTOP);
    const std::string name = "127.0.0.1:" + std::to_string(system.Port());
    const Ending ending = HealthOf(system.Port(), {"--timeout", "1"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - the Mux at " + name + " does not answer | gateway1=U\n"));
    system.Mux().Signal(SIGCONT);
}

TEST(HealthSystemTest, ReportsAMissingConnectionOnStandardOutput) {
    const Testing::ReservedPort port;
    const Ending ending = HealthOf(port.Number());
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - cannot connect to 127.0.0.1:"));
    EXPECT_EQ(ending.error, "");
    EXPECT_THAT(HealthOf(port.Number(), {"--json"}).output,
                StartsWith(R"({"Status":"CRITICAL","Summary":"cannot connect to )"));
}

}  // namespace
}  // namespace Muxctl
