#include "tools/gateway-simulator/GatewaysFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/CommandErrorOf.h"
#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::vector<GatewayDescription> Read(const std::string& text) {
    return ReadGateways("/etc/site.json", text);
}

// The only gateway of a file that has nothing but these members in it.
GatewayDescription ReadOne(const std::string& members) {
    return Read(R"({"Gateways": [{)" + members + "}]}").at(0);
}

Lock ReadLock(const std::string& members) {
    return ReadOne(R"("ID": 1, "Devices": [{)" + members + "}]").options.preparedLocks.at(0);
}

std::string ErrorOf(const std::string& text) {
    return Testing::CommandErrorOf([&] { Read(text); });
}

std::string ErrorOfGateway(const std::string& members) {
    return ErrorOf(R"({"Gateways": [{)" + members + "}]}");
}

std::vector<std::uint32_t> Addresses(const GatewayDescription& gateway) {
    std::vector<std::uint32_t> addresses;
    for (const Lock& lock : gateway.options.preparedLocks) {
        addresses.push_back(lock.Address());
    }
    return addresses;
}

TEST(GatewaysFileTest, TakesAConfigurationOfTheMux) {
    const std::vector<GatewayDescription> gateways = Read(R"({
        "Enabled": false,
        "Gateways": [
            {"ID": 7, "Description": "Hall", "IpAddress": "127.0.0.2", "Port": 2102,
             "Devices": [{"Name": "Front door", "ID": 5}, {"ID": 6}]},
            {"ID": -8, "IpAddress": "hall.local", "Port": 2103}
        ]})");
    ASSERT_EQ(gateways.size(), 2U);
    EXPECT_EQ(gateways.at(0).id, 7);
    EXPECT_EQ(gateways.at(0).name, "Hall");
    EXPECT_EQ(gateways.at(0).options.host, "127.0.0.2");
    EXPECT_EQ(gateways.at(0).options.port, 2102);
    EXPECT_THAT(Addresses(gateways.at(0)), ElementsAre(5, 6));
    EXPECT_THAT(gateways.at(0).lockNames, ElementsAre(Pair(5, "Front door"), Pair(6, "")));
    EXPECT_EQ(gateways.at(1).id, -8);
    EXPECT_EQ(gateways.at(1).options.host, "hall.local");
    EXPECT_THAT(Addresses(gateways.at(1)), IsEmpty());
}

TEST(GatewaysFileTest, PutsDefaultsInPlaceOfWhatIsLeftOut) {
    const GatewayDescription gateway = ReadOne(R"("ID": 1)");
    EXPECT_EQ(gateway.name, "");
    EXPECT_EQ(gateway.options.host, "127.0.0.1");
    EXPECT_EQ(gateway.options.port, 2101);
    EXPECT_EQ(gateway.options.counter, 1000U);
    EXPECT_EQ(gateway.options.whitelistCapacity, 100U);
    EXPECT_EQ(gateway.whitelistFile, "");
    EXPECT_THAT(gateway.options.locks, IsEmpty());
    EXPECT_THAT(gateway.options.preparedLocks, IsEmpty());
}

TEST(GatewaysFileTest, TakesWhatOnlyTheSimulatorKnowsOfAGateway) {
    const GatewayDescription gateway =
        ReadOne(R"("ID": 1, "Counter": 4294967295, "WhitelistCapacity": 2, "WhitelistFile": "cards/hall.json",)"
                R"("Devices": [{"ID": -1}])");
    EXPECT_EQ(gateway.options.counter, 0xFFFFFFFFU);
    EXPECT_EQ(gateway.options.whitelistCapacity, 2U);
    EXPECT_EQ(gateway.whitelistFile, "/etc/cards/hall.json");
    EXPECT_THAT(Addresses(gateway), ElementsAre(0xFFFFFFFFU));
    EXPECT_EQ(gateway.options.preparedLocks.at(0).Cards().Capacity(), 2U);
}

TEST(GatewaysFileTest, FindsOneWhitelistFileBehindALink) {
    const Testing::TemporaryFolder folder;
    std::filesystem::create_symlink("a.json", folder.Path() / "link.json");
    folder.Write("a.json", R"({"Locks": []})");
    EXPECT_THROW(ReadGateways((folder.Path() / "site.json").string(), R"({"Gateways": [
                     {"ID": 1, "WhitelistFile": "a.json"}, {"ID": 2, "WhitelistFile": "link.json"}]})"),
                 CommandError);
}

TEST(GatewaysFileTest, TakesTheStateThatALockBeginsIn) {
    const Lock plain = ReadLock(R"("ID": 5)");
    EXPECT_EQ(plain.StateAt(Lock::Clock::now()), Lock::State::kClosed);
    EXPECT_EQ(plain.Status(), Lock::StatusBytes({0x0F, 0, 0, 0, 0, 0, 0}));
    const Lock lock = ReadLock(R"("ID": 5, "Open": true, "BatteryStatus": 2, "BatteryLevel": 1)");
    EXPECT_EQ(lock.StateAt(Lock::Clock::now()), Lock::State::kOpen);
    EXPECT_EQ(lock.Status(), Lock::StatusBytes({0x06, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ReadLock(R"("ID": 5, "MechanicalActive": true)").Status().at(2), 0x04);
    EXPECT_EQ(ReadLock(R"("ID": 5, "BatteryWarning": true)").Status().at(2), 0x08);
    EXPECT_EQ(ReadLock(R"("ID": 5, "BatteryAlarm": true)").Status().at(2), 0x10);
}

TEST(GatewaysFileTest, NamesThePlaceOfAnError) {
    const std::string range = "must be a number from ";
    EXPECT_EQ(ErrorOf("{\n  \"Gateways\" 5}"),
              "/etc/site.json: is not JSON: line 2, column 14: Missing a colon after a name of object member.");
    EXPECT_EQ(ErrorOf("[]"), "/etc/site.json: the document must be an object");
    EXPECT_EQ(ErrorOf("{}"), "/etc/site.json: the document must have a gateway in \"Gateways\"");
    EXPECT_EQ(ErrorOf(R"({"Gateways": {}})"), "/etc/site.json: Gateways must be an array");
    EXPECT_EQ(ErrorOf(R"({"Gateways": [{"ID": 1}, 5]})"), "/etc/site.json: Gateways[1] must be an object");
    EXPECT_EQ(ErrorOf(R"({"Enabled": 1, "Gateways": [{"ID": 1}]})"), "/etc/site.json: Enabled must be true or false");
    EXPECT_EQ(ErrorOfGateway(""), "/etc/site.json: Gateways[0] must have a member \"ID\"");
    EXPECT_EQ(ErrorOfGateway(R"("ID": 1, "Port": 65536)"), "/etc/site.json: Gateways[0].Port " + range + "0 to 65535");
    EXPECT_EQ(ErrorOfGateway(R"("ID": 1, "Devices": [{"ID": 5, "BatteryLevel": 4}])"),
              "/etc/site.json: Gateways[0].Devices[0].BatteryLevel " + range + "0 to 3");
    EXPECT_EQ(ErrorOfGateway(R"("ID": 1, "Description": 5)"),
              "/etc/site.json: Gateways[0].Description must be a string");
    EXPECT_EQ(ErrorOfGateway(R"("ID": 1, "IpAddress": "")"),
              "/etc/site.json: Gateways[0].IpAddress must be an address or a host name");
}

TEST(GatewaysFileTest, RefusesMembersThatItDoesNotKnow) {
    EXPECT_EQ(ErrorOf(R"({"gateways": []})"),
              "/etc/site.json: the document has no member \"gateways\"; it may have Enabled, Gateways");
    EXPECT_THAT(ErrorOfGateway(R"("ID": 1, "Prot": 5)"),
                testing::StartsWith("/etc/site.json: Gateways[0] has no member \"Prot\"; it may have ID, "));
    EXPECT_THAT(ErrorOfGateway(R"("ID": 1, "Devices": [{"ID": 5, "Nmae": "x"}])"),
                testing::StartsWith("/etc/site.json: Gateways[0].Devices[0] has no member \"Nmae\"; it may have ID, "));
}

TEST(GatewaysFileTest, RefusesWhatOnlyOneMayHave) {
    EXPECT_EQ(ErrorOf(R"({"Gateways": [{"ID": 1}, {"ID": 1}]})"),
              "/etc/site.json: Gateways[1] has the ID of another gateway");
    EXPECT_EQ(ErrorOf(R"({"Gateways": [{"ID": 1, "WhitelistFile": "a"}, {"ID": 2, "WhitelistFile": "a"}]})"),
              "/etc/site.json: Gateways[1] has the WhitelistFile of another gateway");
    for (const char* const name : {"./a", "b/../a", "/etc/a", "/../etc//a"}) {
        const std::string second = R"({"ID": 2, "WhitelistFile": ")" + std::string(name) + "\"}";
        EXPECT_EQ(ErrorOf(R"({"Gateways": [{"ID": 1, "WhitelistFile": "a"}, )" + second + "]}"),
                  "/etc/site.json: Gateways[1] has the WhitelistFile of another gateway")
            << name;
    }
    EXPECT_EQ(ErrorOfGateway(R"("ID": 1, "Devices": [{"ID": 5}, {"ID": 6}, {"ID": 5}])"),
              "/etc/site.json: Gateways[0].Devices[2] has the ID of another lock of its gateway");
}

// Each of these would be read as something else by a parser that is not careful.
TEST(GatewaysFileTest, RefusesValuesOfAnotherKind) {
    for (const char* const members :
         {R"("ID": "1")", R"("ID": 1.5)", R"("ID": 2147483648)", R"("ID": -2147483649)", R"("ID": 1, "Port": -1)",
          R"("ID": 1, "Port": 1e400)", R"("ID": 1, "Counter": 4294967296)", R"("ID": 1, "WhitelistCapacity": 1000001)",
          R"("ID": 1, "WhitelistFile": null)", R"("ID": 1, "Devices": 5)", R"("ID": 1, "Devices": [[]])",
          R"("ID": 1, "Devices": [{"ID": 5, "Open": 1}])", R"("ID": 1, "Devices": [{"ID": true}])",
          R"("ID": 1, "Devices": [{"ID": 5, "Name": 5}])"}) {
        EXPECT_NE(ErrorOfGateway(members), "") << members;
    }
}

TEST(GatewaysFileTest, TheInstalledExamplesAreGood) {
    EXPECT_EQ(LoadGateways(SIMULATOR_EXAMPLE).size(), 2U);
    EXPECT_EQ(LoadGateways(MUX_EXAMPLE).size(), 1U);
}

}  // namespace
}  // namespace Simulator
