// Configurations: how they are read and what they make of the Mux.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"

using Testing::CapturedLog;
using Testing::LockData;
using Testing::Request;
using Testing::RequestNack;
using Testing::ReservedPort;
using Testing::TemporaryFolder;
using Testing::TestMux;

namespace Mux {
namespace {

// Gateways that nothing listens behind; they are never connected here.
class BrenkMuxConfiguration : public testing::Test {
  protected:
    std::string WriteFile(const std::string& content) const {
        std::string path = directory.Path() / "gateways.json";
        std::ofstream(path) << content;
        return path;
    }

    // One gateway of a configuration as JSON text.
    std::string Gateway(int id, const std::string& more = "") const {
        return R"({"ID":)" + std::to_string(id) + R"(,"IpAddress":"127.0.0.1","Port":)" +
               std::to_string(port.Number()) + more + "}";
    }

    static std::string Enabled(const std::string& gateways) {
        return R"({"Enabled":true,"Gateways":[)" + gateways + "]}";
    }

    void ExpectNacks() {
        mux.Route(Request(10, "m1", LockData()));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    }

    const ReservedPort port;
    const TemporaryFolder directory;
    const CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxConfiguration, IsReadFromAFile) {
    const std::string path = WriteFile(Enabled(Gateway(7)));
    EXPECT_TRUE(mux.ParseConfigurationFile(path));
    EXPECT_TRUE(mux.IsConfigured());
    EXPECT_EQ(mux.Gateways()->gateways.size(), 1U);
    EXPECT_EQ(mux.Gateway(7)->ID(), 7);
    EXPECT_EQ(
        Testing::InOrder(log, {"Virtual gateways initialized.", "Start configure gateways.",
                               "Destroying all gateways already configured...",
                               "JSON Configuration parsed. Activating new configuration.",
                               "Parsing configuration JSON...", "Reading configuration JSON data from file " + path}),
        (std::vector<std::string>{"Reading configuration JSON data from file " + path, "Parsing configuration JSON...",
                                  "JSON Configuration parsed. Activating new configuration.",
                                  "Destroying all gateways already configured...", "Start configure gateways.",
                                  "Virtual gateways initialized."}));
    EXPECT_EQ(log.Count(plog::info, "Reading configuration JSON data from file " + path), 1);
    EXPECT_EQ(log.Count(plog::info, "JSON Configuration parsed. Activating new configuration."), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Destroying all gateways already configured..."), 1);
    EXPECT_EQ(log.Count(plog::info, "Start configure gateways."), 1);
}

// The signatures that the lines carry are those that log readers search for.
TEST_F(BrenkMuxConfiguration, IsLoggedUnderTheSignaturesOfTheOperations) {
    mux.ParseConfigurationFile(WriteFile(Enabled("")));
    EXPECT_TRUE(log.Holds(plog::info, "bool Mux::BrenkMux::ParseConfigurationFile(std::string) "));
    EXPECT_TRUE(log.Holds(plog::info, "bool Mux::BrenkMux::ParseConfiguration(std::string) "));
    EXPECT_TRUE(
        log.Holds(plog::info, "void Mux::BrenkMux::InitVirtualGateways(Mux::Configuration::MuxConfigurationData) "));
}

TEST_F(BrenkMuxConfiguration, IsNotThereWhenTheFileIsMissing) {
    const std::string path = directory.Path() / "missing.json";
    EXPECT_FALSE(mux.ParseConfigurationFile(path));
    EXPECT_EQ(log.Count(plog::error, "Cannot read configuration JSON data from file " + path), 1);
    EXPECT_FALSE(log.Holds(plog::info, "Parsing configuration JSON..."));
    EXPECT_FALSE(mux.IsConfigured());
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, IsNotThereWhenThePathIsADirectory) {
    const std::string path = directory.Path();
    EXPECT_FALSE(mux.ParseConfigurationFile(path));
    EXPECT_EQ(log.Count(plog::error, "Cannot read configuration JSON data from file " + path), 1);
}

TEST_F(BrenkMuxConfiguration, IsNotThereWhenTheFileCannotBeOpened) {
    const std::filesystem::path path = directory.Path() / "loop.json";
    std::filesystem::create_symlink(path, path);
    EXPECT_FALSE(mux.ParseConfigurationFile(path));
    EXPECT_EQ(log.Count(plog::error, "Cannot read configuration JSON data from file " + path.string()), 1);
}

// Nothing is mapped at address 0, so reading there fails for everybody.
TEST_F(BrenkMuxConfiguration, IsNotThereWhenTheFileOpensButCannotBeRead) {
    EXPECT_FALSE(mux.ParseConfigurationFile("/proc/self/mem"));
    EXPECT_EQ(log.Count(plog::error, "Cannot read configuration JSON data from file /proc/self/mem"), 1);
}

TEST_F(BrenkMuxConfiguration, IsInvalidWhenTheFileIsEmpty) {
    EXPECT_FALSE(mux.ParseConfigurationFile(WriteFile("")));
    EXPECT_EQ(log.Count(plog::error, "Cannot parse JSON configuration. Invalid data."), 1);
    EXPECT_FALSE(log.Holds(plog::error, "Cannot read configuration JSON data"));
    EXPECT_FALSE(mux.IsConfigured());
}

TEST_F(BrenkMuxConfiguration, IsInvalidWhenItIsNoJson) {
    EXPECT_FALSE(mux.ParseConfigurationFile(WriteFile("{\"Enabled\":true,")));
    EXPECT_EQ(log.Count(plog::info, "Parsing configuration JSON..."), 1);
    EXPECT_EQ(log.Count(plog::error, "Cannot parse JSON configuration. Invalid data."), 1);
    EXPECT_FALSE(mux.IsConfigured());
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, StaysAsItIsWhenTheNextOneIsInvalid) {
    ASSERT_TRUE(mux.ParseConfiguration(Enabled(Gateway(7))));
    EXPECT_FALSE(mux.ParseConfiguration("no JSON"));
    EXPECT_EQ(mux.Gateways()->gateways.size(), 1U);
}

TEST_F(BrenkMuxConfiguration, IsSummarisedAtDebug) {
    mux.ParseConfiguration(
        R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"127.0.0.1","Port":2101,)"
        R"("Devices":[{"Name":"Door","ID":5},{"Name":"Gate","ID":6}]},{"ID":-2,"IpAddress":"127.0.0.2","Port":1}]})");
    EXPECT_EQ(log.Count(plog::debug,
                        "Parsed configuration data from JSON.\nCurrent MUX is enabled.\n"
                        "Configuration contains data for 2 gateways.\n"
                        "Gateway[0]\nID: 1\nDescription: Hall\nIpAddress: 127.0.0.1\nPort: 2101\n"
                        "The gateway have 2 nodes attached.\n"
                        "Gateway[1]\nID: -2\nDescription: \nIpAddress: 127.0.0.2\nPort: 1\n"
                        "The gateway have 0 nodes attached.\n"),
              1)
        << log.Text();
}

TEST_F(BrenkMuxConfiguration, ThatIsNotEnabledCreatesNoGatewayAndRequestsGetNacks) {
    EXPECT_TRUE(mux.ParseConfigurationFile(WriteFile(R"({"Enabled":false,"Gateways":[)" + Gateway(1) + "]}")));
    EXPECT_EQ(log.Count(plog::debug,
                        "Parsed configuration data from JSON.\nCurrent MUX is not enabled.\n"
                        "Configuration contains data for 1 gateways.\nGateway[0]\nID: 1\nDescription: \nIpAddress: "
                        "127.0.0.1\nPort: " +
                            std::to_string(port.Number()) + "\nThe gateway have 0 nodes attached.\n"),
              1);
    EXPECT_EQ(log.Count(plog::warning, "Mux is not enabled."), 1);
    EXPECT_FALSE(log.Holds(plog::info, "Start configure gateways."));
    EXPECT_TRUE(mux.IsConfigured());
    EXPECT_TRUE(mux.Gateways()->gateways.empty());
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, WithoutGatewaysIsAConfigurationAllTheSame) {
    EXPECT_TRUE(mux.ParseConfiguration(Enabled("")));
    EXPECT_TRUE(mux.IsConfigured());
    EXPECT_EQ(log.Count(plog::info, "Start configure gateways."), 1);
    EXPECT_FALSE(log.Holds(plog::info, "Virtual gateways initialized."));
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, ThatIsNoObjectIsAccepted) {
    EXPECT_TRUE(mux.ParseConfiguration("[]"));
    EXPECT_TRUE(mux.IsConfigured());
    EXPECT_EQ(log.Count(plog::warning, "Mux is not enabled."), 1);
}

TEST_F(BrenkMuxConfiguration, KeepsItsGatewaysInOrder) {
    mux.ParseConfiguration(Enabled(Gateway(3) + "," + Gateway(1) + "," + Gateway(2)));
    const auto gateways = mux.Gateways();
    ASSERT_EQ(gateways->gateways.size(), 3U);
    EXPECT_EQ(gateways->gateways.at(0)->ID(), 3);
    EXPECT_EQ(gateways->gateways.at(1)->ID(), 1);
    EXPECT_EQ(gateways->gateways.at(2)->ID(), 2);
    EXPECT_EQ(gateways->gatewaysByID.at(1), gateways->gateways.at(1));
}

TEST_F(BrenkMuxConfiguration, GivesEachGatewayWhatItSays) {
    mux.ParseConfiguration(
        R"({"Enabled":true,"Gateways":[{"ID":-7,"Description":"Hall","IpAddress":"127.0.0.1","Port":2101}]})");
    const Brenk::VirtualGateway* const gateway = mux.Gateway(-7);
    EXPECT_EQ(gateway->ID(), -7);
    EXPECT_EQ(gateway->Description(), "Hall");
    EXPECT_EQ(gateway->IpAddress(), "127.0.0.1");
    EXPECT_EQ(gateway->Port(), 2101U);
    EXPECT_EQ(gateway->Status(), Brenk::CREATED);
}

TEST_F(BrenkMuxConfiguration, KnowsTheDevicesOfAllGatewaysByTheirAddress) {
    mux.ParseConfiguration(Enabled(Gateway(1, R"(,"Devices":[{"Name":"Door","ID":5},{"Name":"Gate","ID":6}])") + "," +
                                   Gateway(2, R"(,"Devices":[{"Name":"Other door","ID":5},{"Name":"Safe","ID":7}])")));
    const auto& devices = mux.Gateways()->devices;
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices.at(5).gatewayID, 1);
    EXPECT_EQ(devices.at(5).name, "Door");
    EXPECT_EQ(devices.at(7).gatewayID, 2);
}

TEST_F(BrenkMuxConfiguration, OfTwoGatewaysWithOneIDMapsTheFirstAndKeepsBoth) {
    mux.ParseConfiguration(Enabled(Gateway(1) + "," + Gateway(1)));
    const auto gateways = mux.Gateways();
    ASSERT_EQ(gateways->gateways.size(), 2U);
    ASSERT_EQ(gateways->gatewaysByID.size(), 1U);
    EXPECT_EQ(gateways->gatewaysByID.at(1), gateways->gateways.at(0));
}

TEST_F(BrenkMuxConfiguration, GoesOnWithTheNextAfterAGatewayThatCannotBeCreated) {
    mux.ParseConfiguration(
        Enabled(R"({"ID":1,"IpAddress":"","Port":2101},{"ID":2,"IpAddress":"127.0.0.1","Port":0},)" + Gateway(3)));
    EXPECT_EQ(log.Count(plog::error, "Cannot create gateway with ID 1. Null or empty object"), 1);
    EXPECT_EQ(log.Count(plog::error, "Cannot create gateway with ID 2. Invalid argument found"), 1);
    ASSERT_EQ(mux.Gateways()->gateways.size(), 1U);
    EXPECT_EQ(mux.Gateways()->gateways.front()->ID(), 3);
    EXPECT_EQ(log.Count(plog::info, "Virtual gateways initialized."), 1);
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, TakesPortsOutsideTheRangeWhichThenCannotBeConnected) {
    mux.ParseConfiguration(R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":-1},)"
                           R"({"ID":2,"IpAddress":"127.0.0.1","Port":65536}]})");
    ASSERT_EQ(mux.Gateways()->gateways.size(), 2U);
    mux.ConnectVirtualGateways();
    EXPECT_EQ(log.Count(plog::error, "Cannot connect to gateway with ID 1 over IP 127.0.0.1"), 1);
    EXPECT_EQ(log.Count(plog::error, "Cannot connect to gateway with ID 2 over IP 127.0.0.1"), 1);
    EXPECT_TRUE(log.Holds(plog::error, "GetAddrInfo error:"));
}

TEST_F(BrenkMuxConfiguration, ReplacesTheOneBefore) {
    mux.ParseConfiguration(Enabled(Gateway(1, R"(,"Devices":[{"Name":"Door","ID":5}])")));
    const std::weak_ptr<Brenk::VirtualGateway> old = mux.Gateways()->gateways.front();
    mux.ParseConfiguration(Enabled(Gateway(2)));
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(log.Count(plog::verbose, "Virtual gateway destructor called."), 1);
    EXPECT_EQ(mux.Gateways()->gatewaysByID.count(1), 0U);
    EXPECT_EQ(mux.Gateways()->gatewaysByID.count(2), 1U);
    EXPECT_TRUE(mux.Gateways()->devices.empty());
}

TEST_F(BrenkMuxConfiguration, ThatIsNotEnabledEndsTheGatewaysOfTheOneBefore) {
    mux.ParseConfiguration(Enabled(Gateway(1)));
    mux.ParseConfiguration("{}");
    EXPECT_TRUE(mux.Gateways()->gateways.empty());
    ExpectNacks();
}

// A request whose gateway has gone with its configuration is still answered if an answer was on the way.
TEST_F(BrenkMuxConfiguration, LeavesPendingRequestsWhenItIsReplaced) {
    mux.ParseConfiguration(Enabled(Gateway(1)));
    mux.Route(Request(10, "m1", LockData()));
    mux.ParseConfiguration(Enabled(Gateway(1)));
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxConfiguration, CanBeTakenFromAMessage) {
    const auto message = MuxMessageBuilder().ParseMessage(Request(2, "m1", Enabled(Gateway(7))));
    EXPECT_TRUE(mux.ParseConfigurationMessage(*message));
    EXPECT_EQ(mux.Gateway(7)->ID(), 7);
    EXPECT_EQ(log.Count(plog::info, "Trying to parse a configuration message that arrived from client."), 1);
    EXPECT_EQ(log.Count(plog::info, "Received message configuration parsed. Activating new configuration."), 1);
    EXPECT_TRUE(log.Holds(plog::debug, "Parsed configuration data from JSON.\nCurrent MUX is enabled.\n"));
}

TEST_F(BrenkMuxConfiguration, CannotBeTakenFromAMessageWithoutOne) {
    for (const std::string& text : {Request(2), Request(10, "m1", LockData())}) {
        const auto message = MuxMessageBuilder().ParseMessage(text);
        EXPECT_FALSE(mux.ParseConfigurationMessage(*message));
    }
    EXPECT_EQ(log.Count(plog::error, "Cannot parse configuration message data. Invalid data."), 2);
    EXPECT_FALSE(mux.IsConfigured());
}

}  // namespace
}  // namespace Mux
