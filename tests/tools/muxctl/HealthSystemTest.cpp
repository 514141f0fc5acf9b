// health of gateways, with the real Mux and every fault of the simulated gateway.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"
#include "tests/tools/muxctl/FakeMux.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

using SystemTest::MuxSystem;
using testing::HasSubstr;
using testing::StartsWith;

// For answers that must come, however busy the machine is, and for those that never come.
constexpr const char* kLong = "60";
constexpr const char* kShort = "2";

Ending HealthOf(const MuxSystem& system, const std::string& timeout, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"health",    "--gateway", "1", "--port", std::to_string(system.Port()),
                                          "--timeout", timeout};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunMuxctl(arguments);
}

struct FaultRow {
    // Of the simulator.
    std::string commands;
    const char* timeout;
    int status;
    // How the first line begins.
    std::string text;
};

void ExpectHealth(const std::vector<FaultRow>& rows) {
    SystemTest::ForEachSideBySide(rows, [](const FaultRow& row) {
        MuxSystem system;
        SystemTest::RunCommands(system.Gateway(), row.commands);
        const Ending ending = HealthOf(system, row.timeout);
        EXPECT_EQ(ending.status, row.status) << row.commands;
        EXPECT_THAT(ending.output, StartsWith(row.text)) << row.commands;
        EXPECT_EQ(ending.error, "") << row.commands;
    });
}

const std::string kOk = "OK - gateway 1: answers | gateway1=";
const std::string kNoAnswer = "CRITICAL - gateway 1: no answer | gateway1=U\n";

TEST(HealthSystemTest, IsOkWhateverDoesNotKeepTheAnswerAway) {
    ExpectHealth({
        {"faults", kLong, 0, kOk},
        {"fault delay 1500 always", kLong, 0, kOk},
        {"fault byte-by-byte 20 always", kLong, 0, kOk},
        {"fault wrong-crc always", kLong, 0, kOk},
        {"fault force-result 8 always", kLong, 0, kOk},
        {"fault twice always", kLong, 0, kOk},
        {"fault junk 00 always", kLong, 0, kOk},
    });
}

TEST(HealthSystemTest, AsksASecondTime) {
    ExpectHealth({
        {"fault silence", "8", 0, kOk},
        {"fault close", "8", 0, kOk},
        {"fault force-result 7", "8", 0, kOk},
        {"fault unknown-reference", "8", 0, kOk},
    });
}

TEST(HealthSystemTest, IsCriticalWithoutAnAnswer) {
    ExpectHealth({
        {"fault silence always", kShort, 2, kNoAnswer},
        {"fault delay 30000 always", kShort, 2, kNoAnswer},
        {"fault close always", kShort, 2, kNoAnswer},
        {"fault close-mid-frame always", kShort, 2, kNoAnswer},
        {"fault glue always", kShort, 2, kNoAnswer},
        {"fault wrong-length 10 always", kShort, 2, kNoAnswer},
        {"fault wrong-length 200 always", kShort, 2, kNoAnswer},
        {"fault unknown-reference always", kShort, 2, kNoAnswer},
        {"fault force-result 7 always", kShort, 2, kNoAnswer},
        {"fault answer-code 1 always", kShort, 2, kNoAnswer},
        {"fault answer-code 2 always", kShort, 2, kNoAnswer},
    });
}

TEST(HealthSystemTest, IsAWarningWhenTheAnswerIsAnother) {
    const std::string error = "WARNING - gateway 1: answers with error ";
    ExpectHealth({
        {"fault force-result 0 always", kLong, 1, "WARNING - gateway 1: answers as if a lock had address 256 | "},
        {"fault force-result 1 always", kLong, 1, error + "1: Unhandled error code or unknown error. | "},
        {"fault force-result 5 always", kLong, 1, error + "5: "},
        {"fault force-result 12 always", kLong, 1, error + "12: System inconsistancy "},
    });
    MuxSystem system;
    EXPECT_TRUE(system.Gateway().AddLock(256));
    EXPECT_EQ(HealthOf(system, kLong).status, 1);
}

TEST(HealthSystemTest, IsCriticalWhenTheMuxEnds) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), "fault reset always");
    system.Gateway().Stop();
    const Ending ending = HealthOf(system, kLong);
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - "));
    system.Mux().WaitForEnd();
}

TEST(HealthSystemTest, IsCriticalForAGatewayThatTheMuxDoesNotHave) {
    MuxSystem system;
    const Ending ending = RunMuxctl({"health", "--gateway", "9", "--port", std::to_string(system.Port())});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output,
                StartsWith("CRITICAL - gateway 9: not configured, left out at start, or disconnected | "));
}

class SiteHealthTest : public testing::Test {
  protected:
    Ending Health(std::vector<std::string> more, const std::string& timeout = kLong) const {
        more.insert(more.begin(), {"health", "--config", file_, "--port", std::to_string(system_.Port())});
        more.insert(more.end(), {"--timeout", timeout});
        return RunMuxctl(more);
    }

    MuxSystem system_{SystemTest::WithGateways({{1, {5}}, {2, {6}}})};
    Testing::TemporaryFolder folder_;
    // The last gateway has an ID twice, and is asked once.
    std::string file_ = folder_.Write("hall.json", R"({"Gateways":[
        {"ID":2,"Description":"Cellar","Port":1},{"ID":1,"Description":"Hall","Port":1},{"ID":2,"Port":1}]})");
};

TEST_F(SiteHealthTest, AsksEveryGatewayOnce) {
    const std::size_t before = system_.Gateway(1).ReceivedFrames().size();
    const Ending ending = Health({"--all"});
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
    RunningProgram program(MuxctlCommand({"health", "--all", "--config", file_, "--port", std::to_string(mux.Port())}));
    mux.Accept();
    for (int count = 0; count < kGateways; ++count) {
        mux.Answer(mux.ReceiveText(), 1, R"({"ErrorCode":8,"Message":"No route."})");
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_GT(elapsed, std::chrono::milliseconds(1900));
    EXPECT_LT(elapsed, std::chrono::seconds(15));
}

TEST_F(SiteHealthTest, WarnsOfOneOfSeveral) {
    SystemTest::RunCommands(system_.Gateway(1), "fault silence always");
    const Ending ending = Health({"--all"}, "3");
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, StartsWith("WARNING - 1 of 2 gateways answer; gateway 2 (Cellar): no answer | "));
}

TEST_F(SiteHealthTest, AsksAGatewayByItsName) {
    EXPECT_THAT(Health({"--gateway", "Cellar"}).output, StartsWith("OK - gateway 2 (Cellar): answers | gateway2="));
    EXPECT_EQ(Health({"--gateway", "Celar"}).status, 64);
    EXPECT_EQ(Health({"--gateway", "1", "--all"}).status, 64);
    EXPECT_EQ(RunMuxctl({"health", "--all"}).status, 64);
}

TEST_F(SiteHealthTest, IsCriticalWithFilesThatCannotBeUsed) {
    folder_.Write("hall.json", "{");
    const Ending ending = Health({"--all"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - " + file_ + " is not JSON"));
}

TEST_F(SiteHealthTest, IsCriticalWithoutAnyGateway) {
    folder_.Write("hall.json", "{}");
    const Ending ending = Health({"--all"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, "CRITICAL - the configuration has no gateways\n");
}

TEST(HealthSystemTest, NamesAMuxThatHangs) {
    MuxSystem system;
    system.Mux().Signal(SIGSTOP);
    const std::string name = "127.0.0.1:" + std::to_string(system.Port());
    const Ending ending = HealthOf(system, "1");
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - the Mux at " + name + " does not answer | gateway1=U\n"));
    system.Mux().Signal(SIGCONT);
}

TEST(HealthSystemTest, ReportsAMissingConnectionOnStandardOutput) {
    const Testing::ReservedPort port;
    const std::vector<std::string> arguments = {"health", "--gateway", "1", "--port", std::to_string(port.Number())};
    const Ending ending = RunMuxctl(arguments);
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, StartsWith("CRITICAL - cannot connect to 127.0.0.1:"));
    EXPECT_EQ(ending.error, "");
    std::vector<std::string> inJson = arguments;
    inJson.emplace_back("--json");
    EXPECT_THAT(RunMuxctl(inJson).output, StartsWith(R"({"Status":"CRITICAL","Summary":"cannot connect to )"));
}

}  // namespace
}  // namespace Muxctl
