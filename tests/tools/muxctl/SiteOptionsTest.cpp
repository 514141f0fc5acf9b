// Commands that name the Mux, a gateway or a lock in other ways than by number.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

constexpr const char* kOpenFive = R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})";

class SiteOptionsTest : public testing::Test {
  protected:
    std::string RequestOf(const Words& arguments) const {
        const Exchange exchange = Exchanged(arguments + Words{"--config", file_});
        EXPECT_EQ(exchange.ending.status, 0) << exchange.ending.error;
        return BehindTheIdIn(exchange.request);
    }

    Testing::TemporaryFolder folder_;
    std::string file_ = folder_.Write("hall.json", R"({"Enabled":true,"Gateways":[
        {"ID":1,"Description":"Hall","IpAddress":"a","Port":1,"Devices":[{"Name":"Front door","ID":5},{"ID":6}]},
        {"ID":2,"Description":"Yard","IpAddress":"b","Port":1,"Devices":[{"Name":"Gate","ID":7}]}]})");
};

TEST_F(SiteOptionsTest, OpenALockByItsName) {
    EXPECT_EQ(RequestOf({"open", "Front door"}), kOpenFive);
    EXPECT_EQ(RequestOf({"open", "Front door", "--gateway", "Hall"}), kOpenFive);
    EXPECT_EQ(RequestOf({"open", "--gateway", "Hall", "--lock", "5"}), kOpenFive);
    EXPECT_EQ(RequestOf({"open", "--gateway", "1", "--lock", "5"}), kOpenFive);
}

TEST_F(SiteOptionsTest, RefuseANameThatIsNotInTheSite) {
    const std::vector<std::pair<Words, std::string>> rows = {
        {{"open", "Front dor"}, "no lock is named \"Front dor\"; did you mean \"Front door\"?\n"},
        {{"open", "Gate", "--gateway", "Hall"}, "no lock is named \"Gate\"\n"},
        {{"open", "--gateway", "Halle", "--lock", "5"}, "no gateway is named \"Halle\"; did you mean \"Hall\"?\n"},
    };
    for (const auto& [arguments, error] : rows) {
        const Ending ending = RunMuxctl(arguments + Words{"--config", file_});
        EXPECT_EQ(ending.status, 64);
        EXPECT_EQ(ending.error, "muxctl: " + error);
    }
    EXPECT_EQ(RunMuxctl({"open", "Gate", "--lock", "7", "--config", file_}).status, 64);
}

TEST_F(SiteOptionsTest, TakeThePortOfTheSiteUnlessTheyAreGivenOne) {
    FakeMux mux;
    folder_.Write("hall.env", "MUX_PORT=" + std::to_string(mux.Port()) + "\n");
    RunningProgram health(MuxctlCommand({"health", "--config", file_}));
    mux.Accept();
    mux.Answer(mux.ReceiveText(), 1, "{}");
    EXPECT_EQ(health.WaitForExit(), 0);
    folder_.Write("hall.env", "MUX_PORT=1\n");
    EXPECT_EQ(RequestOf({"open", "Front door"}), kOpenFive);
}

TEST_F(SiteOptionsTest, ListTheLocks) {
    const Ending text = RunMuxctl({"locks", "--config", file_});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.output, "gateway 1  Hall\n  lock 5  Front door\n  lock 6\ngateway 2  Yard\n  lock 7  Gate\n");
    EXPECT_THAT(RunMuxctl({"locks", "--json", "--config", file_}).output,
                StartsWith(R"({"gatewayID":1,"gatewayName":"Hall","lockID":5,"lockName":"Front door"})"
                           "\n"));
}

TEST_F(SiteOptionsTest, SaysThatASiteDoesNotExist) {
    const Ending ending = RunMuxctl({"locks", "--site", "no such site"});
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, StartsWith("muxctl: no site \"no such site\" in /etc/dw-hal-mux"));
    EXPECT_EQ(RunMuxctl({"locks", "--site", "hall", "--config", file_}).status, 64);
}

TEST_F(SiteOptionsTest, WatchShowsTheNamesOfLocks) {
    FakeMux mux;
    RunningProgram watch(MuxctlCommand(Words{"watch", "--count", "1", "--config", file_} + mux.PortArguments()));
    mux.Accept();
    mux.Send(R"({"Timestamp":1,"MessageID":"","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,"RFIDData":"0A"}})");
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_THAT(watch.Output(), EndsWith("gateway 1  lock 5 (Front door)  card 0A\n"));
}

TEST(HostOptionTest, TakesThePortBehindTheHost) {
    FakeMux mux;
    RunningProgram health(MuxctlCommand({"health", "--host", "127.0.0.1:" + std::to_string(mux.Port())}));
    mux.Accept();
    mux.Answer(mux.ReceiveText(), 1, "{}");
    EXPECT_EQ(health.WaitForExit(), 0);
}

TEST(HostOptionTest, RefusesTwoPorts) {
    const Ending ending = RunMuxctl({"health", "--host", "[::1]:5555", "--port", "5556"});
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, HasSubstr("--port must not be given"));
}

}  // namespace
}  // namespace Muxctl
