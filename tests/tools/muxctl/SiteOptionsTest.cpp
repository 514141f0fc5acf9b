// Commands that name the Mux, a gateway or a lock in other ways than by number.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// What --lock and --gateway open in the site of the test: "1/5" for lock 5 of gateway 1.
std::string AddressIn(const std::string& request) {
    const auto numberBehind = [&](const std::string& key) {
        const std::size_t start = request.find(key) + key.size();
        return request.substr(start, request.find_first_of(",}", start) - start);
    };
    return numberBehind("\"gatewayID\":") + "/" + numberBehind("\"lockID\":");
}

class SiteOptionsTest : public testing::Test {
  protected:
    // The locks that a command opens, one after the other.
    Words Opened(const Words& arguments) const {
        FakeMux mux;
        ConnectedProgram program(mux, arguments + Words{"--config", file_} + kMuchTime);
        Words opened = mux.AnswerAll();
        std::transform(opened.begin(), opened.end(), opened.begin(), AddressIn);
        EXPECT_EQ(program.WaitForExit(), 0) << program.ErrorOutput();
        return opened;
    }

    Testing::TemporaryFolder folder_;
    std::string file_ = folder_.Write("hall.json", R"({"Enabled":true,"Gateways":[
        {"ID":1,"Description":"Hall","IpAddress":"a","Port":1,"Devices":[{"Name":"Front door","ID":5},{"ID":6},
         {"Name":"Side","ID":8}]},
        {"ID":2,"Description":"Yard","IpAddress":"b","Port":1,"Devices":[{"Name":"Gate","ID":7},{"Name":"Side","ID":9},
         {"Name":"6","ID":10},{"Name":"Left, right","ID":11}]}]})");
};

// A number is an ID behind --lock, and a name without.
TEST_F(SiteOptionsTest, OpenLocksByNamesAndIds) {
    const std::vector<std::pair<Words, Words>> rows = {
        {{"open", "Front door"}, {"1/5"}},
        {{"open", "Front door", "--gateway", "Hall"}, {"1/5"}},
        {{"open", "--lock", "Front door"}, {"1/5"}},
        {{"open", "--lock", "Gate,Front door"}, {"2/7", "1/5"}},
        {{"open", "--gateway", "1", "--lock", "5"}, {"1/5"}},
        {{"open", "--gateway", "Hall", "--lock", "5"}, {"1/5"}},
        {{"open", "--gateway", "Hall", "--lock", "Front door,6"}, {"1/5", "1/6"}},
        {{"open", "--gateway", "Yard", "--lock", "6"}, {"2/6"}},
        {{"open", "6"}, {"2/10"}},
        {{"open", "Left, right"}, {"2/11"}},
        {{"whitelist", "clear", "--gateway", "2", "--lock", "Side"}, {"2/9"}},
    };
    for (const auto& [arguments, locks] : rows) {
        EXPECT_EQ(Opened(arguments), locks) << testing::PrintToString(arguments);
    }
}

TEST_F(SiteOptionsTest, RefuseWhatIsNotClear) {
    const std::vector<std::pair<Words, std::string>> rows = {
        {{"open", "Front dor"}, "no lock is named \"Front dor\"; did you mean \"Front door\"?\n"},
        {{"open", "Gate", "--gateway", "Hall"}, "gateway 1 has no lock \"Gate\", but gateway 2 has\n"},
        {{"open", ""}, "the name of a lock must not be empty\n"},
        {{"open", "--gateway", "", "--lock", "5"}, "the name of a gateway must not be empty\n"},
        {{"health", "--gateway", ""}, "the name of a gateway must not be empty\n"},
        {{"open", "--gateway", "Halle", "--lock", "5"}, "no gateway is named \"Halle\"; did you mean \"Hall\"?\n"},
        {{"open", "--lock", "Front door,Gat"}, "no lock is named \"Gat\"; did you mean \"Gate\"?\n"},
        {{"open", "--lock", "Gate", "--gateway", "1"}, "gateway 1 has no lock \"Gate\", but gateway 2 has\n"},
        {{"open", "--lock", "Left, right"}, "--lock takes a list; give the name \"Left, right\" without it\n"},
        {{"open", "--lock", "Gate,Side"}, "several locks are named \"Side\": gateway 1, lock 8; gateway 2, lock 9\n"},
        {{"open", "--lock", "Front door,6"}, "--lock: 6 is an ID, which requires --gateway\n"},
        {{"open", "--lock", "Gate,"}, "the name of a lock must not be empty\n"},
    };
    for (const auto& [arguments, error] : rows) {
        const Ending ending = RunMuxctl(arguments + Words{"--config", file_});
        EXPECT_EQ(ending.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(ending.error, "muxctl: " + error);
    }
    EXPECT_EQ(RunMuxctl({"open", "Gate", "--lock", "7", "--config", file_}).status, 64);
}

TEST_F(SiteOptionsTest, TakeThePortOfTheSiteUnlessTheyAreGivenOne) {
    FakeMux mux;
    folder_.Write("hall.env", "MUX_PORT=" + std::to_string(mux.Port()) + "\n");
    RunningProgram health(MuxctlCommand({"health", "--config", file_}));
    mux.Accept();
    mux.AnswerNext(1, "{}");
    EXPECT_EQ(health.WaitForExit(), 0);
    folder_.Write("hall.env", "MUX_PORT=1\n");
    EXPECT_THAT(Opened({"open", "Front door"}), ElementsAre("1/5"));
}

TEST_F(SiteOptionsTest, ListTheLocks) {
    const Ending text = RunMuxctl({"locks", "--config", file_});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.output,
              "gateway 1  Hall\n  lock 5  Front door\n  lock 6\n  lock 8  Side\n"
              "gateway 2  Yard\n  lock 7  Gate\n  lock 9  Side\n  lock 10  6\n  lock 11  Left, right\n");
    EXPECT_THAT(RunMuxctl({"locks", "--json", "--config", file_}).output,
                StartsWith(R"({"gatewayID":1,"gatewayName":"Hall","lockID":5,"lockName":"Front door"})"
                           "\n"));
}

TEST_F(SiteOptionsTest, ListNamesThatAreNotUtf8) {
    const std::string file =
        folder_.Write("odd.json", "{\"Gateways\":[{\"ID\":1,\"Devices\":[{\"ID\":5,\"Name\":\"\xFF\"}]}]}");
    EXPECT_EQ(RunMuxctl({"locks", "--json", "--config", file}).output,
              "{\"gatewayID\":1,\"gatewayName\":\"\",\"lockID\":5,\"lockName\":\"\uFFFD\"}\n");
}

TEST_F(SiteOptionsTest, SaysThatASiteDoesNotExist) {
    const Ending ending = RunMuxctl({"locks", "--site", "no such site"});
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, StartsWith("muxctl: no site \"no such site\" in /etc/dw-hal-mux"));
    EXPECT_EQ(RunMuxctl({"locks", "--site", "hall", "--config", file_}).status, 64);
}

TEST_F(SiteOptionsTest, WatchShowsTheNamesOfLocks) {
    FakeMux mux;
    ConnectedProgram watch(mux, {"watch", "--count", "1", "--config", file_});
    mux.Send(R"({"Timestamp":1,"MessageID":"","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,"RFIDData":"0A"}})");
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_THAT(watch.Output(), EndsWith("gateway 1  lock 5 (Front door)  card 0A\n"));
}

TEST(HostOptionTest, TakesThePortBehindTheHost) {
    FakeMux mux;
    RunningProgram health(MuxctlCommand({"health", "--host", "127.0.0.1:" + std::to_string(mux.Port())}));
    mux.Accept();
    mux.AnswerNext(1, "{}");
    EXPECT_EQ(health.WaitForExit(), 0);
}

TEST(HostOptionTest, RefusesTwoPorts) {
    const Ending ending = RunMuxctl({"health", "--host", "[::1]:5555", "--port", "5556"});
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, HasSubstr("--port must not be given"));
}

}  // namespace
}  // namespace Muxctl
