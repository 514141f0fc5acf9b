// What a site's files give: gateways and locks by name, and the port.

#include "tools/muxctl/Site.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Two gateways, of which each has a lock with the name "Side door".
const std::string kConfiguration = R"({"Enabled":true,"Gateways":[
    {"ID":1,"Description":"Hall","IpAddress":"192.168.1.20","Port":2101,
     "Devices":[{"Name":"Front door","ID":5},{"Name":"Side door","ID":70000}]},
    {"ID":-2,"Description":"Yard","IpAddress":"192.168.1.21","Port":2101,
     "Devices":[{"Name":"Side door","ID":8},{"ID":9}]}]})";

class SiteTest : public testing::Test {
  protected:
    Site ReadHall() const { return ReadSite(SiteNamed("hall", Folder(), Folder() + "/defaults")); }
    std::string Folder() const { return folder_.Path().string(); }

    // Has a port in the environment files when they are not empty.
    std::optional<std::uint16_t> PortWith(const std::string& defaults, const std::string& environment) {
        folder_.Write("defaults", defaults);
        folder_.Write("hall.env", environment);
        return ReadHall().port;
    }

    Testing::TemporaryFolder folder_;
    std::string file_ = folder_.Write("hall.json", kConfiguration);
};

TEST_F(SiteTest, HasTheGatewaysAndLocksOfTheConfiguration) {
    const Site site = ReadHall();
    ASSERT_EQ(site.gateways.size(), 2U);
    EXPECT_EQ(site.gateways.at(0).id, 1);
    EXPECT_EQ(site.gateways.at(0).name, "Hall");
    ASSERT_EQ(site.gateways.at(1).locks.size(), 2U);
    EXPECT_EQ(site.gateways.at(1).locks.at(0).id, 8);
    EXPECT_EQ(site.gateways.at(1).locks.at(0).name, "Side door");
    EXPECT_EQ(site.gateways.at(1).locks.at(1).name, "");
    EXPECT_EQ(site.port, std::nullopt);
}

TEST_F(SiteTest, HasThePortThatItsUnitListensOn) {
    EXPECT_EQ(PortWith("MUX_PORT=5600\n", ""), 5600);
    EXPECT_EQ(PortWith("MUX_PORT=5600\n", "MUX_PORT=5601\n"), 5601);
    EXPECT_EQ(PortWith("", "# MUX_PORT=1\n; MUX_PORT=2\n  MUX_PORT = \"5602\" \nMUX_PORTS=3\n"), 5602);
    EXPECT_EQ(PortWith("", "MUX_PORT=5603\nMUX_PORT='5604'\r\n"), 5604);
    EXPECT_EQ(PortWith("#MUX_PORT=5555\n", "MUX_LOG_FILE=x\n"), std::nullopt);
}

TEST_F(SiteTest, RefusesAPortThatIsNone) {
    EXPECT_THAT([&] { PortWith("", "MUX_PORT=70000\n"); },
                ThrowsMessage<UsageError>(AllOf(HasSubstr("hall.env: MUX_PORT"), HasSubstr("not 70000"))));
}

TEST_F(SiteTest, OfAFileHasThePortBesideIt) {
    EXPECT_THAT(SiteOfFile("/tmp/hall.json").environment, ElementsAre("/tmp/hall.env"));
    EXPECT_THAT(SiteOfFile("/etc/dw-hal-mux/hall.json").environment,
                ElementsAre("/etc/default/dw-hal-mux-brenk", "/etc/dw-hal-mux/hall.env"));
    EXPECT_TRUE(SiteOfFile("hall.conf").environment.empty());
}

TEST_F(SiteTest, NamesTheNearestSite) {
    const auto find = [&](const std::string& name) { SiteNamed(name, Folder(), ""); };
    EXPECT_THAT([&] { find("hal"); }, ThrowsMessage<UsageError>(HasSubstr("; did you mean \"hall\"?")));
    EXPECT_THAT([&] { find(file_); }, ThrowsMessage<UsageError>(HasSubstr("not a path")));
}

TEST_F(SiteTest, SaysWhyAConfigurationCannotBeUsed) {
    const auto read = [&](const std::string& text) { ReadSite({folder_.Write("odd.json", text), {}}); };
    EXPECT_THAT(
        [&] {
            ReadSite({Folder() + "/none.json", {}});
        },
        ThrowsMessage<UsageError>(HasSubstr("none.json cannot be read: No such file or directory")));
    EXPECT_THAT([&] { ReadSite({Folder(), {}}); }, ThrowsMessage<UsageError>(HasSubstr("Is a directory")));
    EXPECT_THAT([&] { read("{"); }, ThrowsMessage<UsageError>(HasSubstr("odd.json is not JSON: line 1")));
    EXPECT_THAT([&] { read(R"({"Gateways":[5]})"); }, ThrowsMessage<UsageError>(HasSubstr("would end the Mux")));
}

TEST_F(SiteTest, FindsAGatewayByIdOrName) {
    const Site site = ReadHall();
    EXPECT_EQ(FindGateway(site, "Yard"), -2);
    EXPECT_EQ(FindGateway(site, "-2"), -2);
    EXPECT_EQ(FindGateway(site, "99"), 99);
    EXPECT_THAT([&] { FindGateway(site, "Yrad"); },
                ThrowsMessage<UsageError>("no gateway is named \"Yrad\"; did you mean \"Yard\"?"));
}

TEST_F(SiteTest, FindsALockOnlyByItsExactName) {
    const Site site = ReadHall();
    const MuxClient::LockAddress front = FindLock(site, "Front door");
    EXPECT_EQ(front.gateway, 1);
    EXPECT_EQ(front.lock, 5);
    EXPECT_THAT([&] { FindLock(site, "front door"); },
                ThrowsMessage<UsageError>("no lock is named \"front door\"; did you mean \"Front door\"?"));
    EXPECT_THAT([&] { FindLock(site, "Garage"); }, ThrowsMessage<UsageError>("no lock is named \"Garage\""));
}

TEST_F(SiteTest, DoesNotChooseBetweenLocksOfOneName) {
    const Site site = ReadHall();
    EXPECT_THAT(
        [&] { FindLock(site, "Side door"); },
        ThrowsMessage<UsageError>("several locks are named \"Side door\": gateway 1, lock 70000; gateway -2, lock 8"));
    EXPECT_EQ(FindLock(site, "Side door", -2).lock, 8);
    EXPECT_THAT([&] { FindLock(site, "Front door", -2); },
                ThrowsMessage<UsageError>("gateway -2 has no lock \"Front door\", but gateway 1 has"));
}

// As a script gives it whose variable is not set; lock 9 has no name.
TEST_F(SiteTest, HasNothingOfAnEmptyName) {
    const Site site = ReadSite({folder_.Write("nameless.json", R"({"Gateways":[{"ID":3,"Devices":[{"ID":9}]}]})"), {}});
    EXPECT_THAT([&] { FindLock(site, ""); }, ThrowsMessage<UsageError>("the name of a lock must not be empty"));
    EXPECT_THAT([&] { FindGateway(site, ""); }, ThrowsMessage<UsageError>("the name of a gateway must not be empty"));
}

// 70000 is 65536 and 4464.
TEST_F(SiteTest, NamesTheLockOfAnEventByItsLowBits) {
    const Site site = ReadHall();
    EXPECT_EQ(NameOfLockInEvent(site, 1, 5), "Front door");
    EXPECT_EQ(NameOfLockInEvent(site, 1, 4464), "Side door");
    EXPECT_EQ(NameOfLockInEvent(site, 2, 5), "");
    EXPECT_EQ(NameOfLockInEvent(site, 1, 6), "");
}

}  // namespace
}  // namespace Muxctl
