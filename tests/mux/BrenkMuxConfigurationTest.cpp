// Configurations: parsing, effect and all log lines.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"

using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::LockData;
using Testing::MuxLog;
using Testing::Request;
using Testing::RequestNack;
using Testing::Steps;
using Testing::TestMux;

namespace Mux {
namespace {

const Steps kActivated = {{info, "JSON Configuration parsed. Activating new configuration."},
                          {verbose, "Destroying all gateways already configured..."}};
const Steps kGatewaysMade = {{info, "Start configure gateways."}, {info, "Virtual gateways initialized."}};
const Steps kNotEnabled = {{warning, "Mux is not enabled."}};

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

    static Steps Summary(const std::string& enabled, const std::string& gateways) {
        return {{debug, "Parsed configuration data from JSON.\nCurrent MUX is " + enabled +
                            ".\nConfiguration contains data for " + gateways}};
    }

    // The summary of a configuration with the one gateway of Gateway().
    std::string GatewaySummary(const std::string& id) const {
        return "1 gateways.\nGateway[0]\nID: " + id +
               "\nDescription: \nIpAddress: 127.0.0.1\nPort: " + std::to_string(port.Number()) +
               "\nThe gateway have 0 nodes attached.\n";
    }

    // Expects that a request is refused.
    void ExpectNacks() {
        mux.Route(Request(10, "m1", LockData()));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    }

    const Testing::ReservedPort port;
    const Testing::TemporaryFolder directory;
    const Testing::CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxConfiguration, IsReadFromAFile) {
    const std::string path = WriteFile(Enabled(Gateway(7)));
    const MuxLog muxLog(log);
    EXPECT_TRUE(mux.ParseConfigurationFile(path));
    muxLog.Expect(
        Steps{{info, "Reading configuration JSON data from file " + path}, {info, "Parsing configuration JSON..."}} +
        Summary("enabled", GatewaySummary("7")) + kActivated + kGatewaysMade);
    EXPECT_TRUE(mux.IsConfigured());
    EXPECT_EQ(mux.Gateways()->gateways.size(), 1U);
    EXPECT_EQ(mux.Gateway(7)->ID(), 7);
    for (const char* const signature :
         {"bool Mux::BrenkMux::ParseConfigurationFile(std::string) ",
          "bool Mux::BrenkMux::ParseConfiguration(std::string) ",
          "void Mux::BrenkMux::InitVirtualGateways(Mux::Configuration::MuxConfigurationData) "}) {
        EXPECT_TRUE(log.Holds(info, signature)) << signature;
    }
}

// /proc/self/mem opens, but nothing is mapped at its first byte, so reading fails even for root.
TEST_F(BrenkMuxConfiguration, IsNotThereWhenTheFileCannotBeRead) {
    const std::filesystem::path loop = directory.Path() / "loop.json";
    std::filesystem::create_symlink(loop, loop);
    for (const std::string& path : {(directory.Path() / "missing.json").string(), directory.Path().string(),
                                    loop.string(), std::string("/proc/self/mem")}) {
        const MuxLog muxLog(log);
        EXPECT_FALSE(mux.ParseConfigurationFile(path));
        muxLog.Expect({{info, "Reading configuration JSON data from file " + path},
                       {error, "Cannot read configuration JSON data from file " + path}});
    }
    EXPECT_FALSE(mux.IsConfigured());
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, StaysAsItIsWhenAFileIsNoJson) {
    for (const bool isConfigured : {false, true}) {
        for (const char* const content : {"", "{\"Enabled\":true,"}) {
            const std::string path = WriteFile(content);
            const MuxLog muxLog(log);
            EXPECT_FALSE(mux.ParseConfigurationFile(path));
            muxLog.Expect({{info, "Reading configuration JSON data from file " + path},
                           {info, "Parsing configuration JSON..."},
                           {error, "Cannot parse JSON configuration. Invalid data."}});
            EXPECT_EQ(mux.IsConfigured(), isConfigured);
            EXPECT_EQ(mux.Gateways()->gateways.size(), isConfigured ? 1U : 0U);
        }
        mux.ParseConfiguration(Enabled(Gateway(7)));
    }
}

TEST_F(BrenkMuxConfiguration, IsSummarisedAtDebug) {
    mux.ParseConfiguration(
        R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"127.0.0.1","Port":2101,)"
        R"("Devices":[{"Name":"Door","ID":5},{"Name":"Gate","ID":6}]},{"ID":-2,"IpAddress":"127.0.0.2","Port":1}]})");
    EXPECT_EQ(log.Count(debug,
                        "Parsed configuration data from JSON.\nCurrent MUX is enabled.\n"
                        "Configuration contains data for 2 gateways.\n"
                        "Gateway[0]\nID: 1\nDescription: Hall\nIpAddress: 127.0.0.1\nPort: 2101\n"
                        "The gateway have 2 nodes attached.\n"
                        "Gateway[1]\nID: -2\nDescription: \nIpAddress: 127.0.0.2\nPort: 1\n"
                        "The gateway have 0 nodes attached.\n"),
              1)
        << log.Text();
}

TEST_F(BrenkMuxConfiguration, ThatIsNotEnabledIsOneAndEndsTheGatewaysOfTheOneBefore) {
    for (const std::string& text : {R"({"Enabled":false,"Gateways":[)" + Gateway(1) + "]}", std::string("[]")}) {
        TestMux another;
        EXPECT_TRUE(another.ParseConfiguration(text));
        EXPECT_TRUE(another.IsConfigured());
        EXPECT_TRUE(another.Gateways()->gateways.empty());
    }
    mux.ParseConfiguration(Enabled(Gateway(1)));
    const MuxLog muxLog(log);
    EXPECT_TRUE(mux.ParseConfiguration(R"({"Enabled":false,"Gateways":[)" + Gateway(1) + "]}"));
    muxLog.Expect(Steps{{info, "Parsing configuration JSON..."}} + Summary("not enabled", GatewaySummary("1")) +
                  kActivated + kNotEnabled);
    EXPECT_TRUE(mux.Gateways()->gateways.empty());
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, WithoutGatewaysIsAConfigurationAllTheSame) {
    const MuxLog muxLog(log);
    EXPECT_TRUE(mux.ParseConfiguration(Enabled("")));
    muxLog.Expect(Steps{{info, "Parsing configuration JSON..."}} + Summary("enabled", "0 gateways.\n") + kActivated +
                  Steps{{info, "Start configure gateways."}});
    EXPECT_TRUE(mux.IsConfigured());
    ExpectNacks();
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

TEST_F(BrenkMuxConfiguration, KeepsItsGatewaysInOrderAndMapsTheFirstOfTheSameID) {
    mux.ParseConfiguration(Enabled(Gateway(3) + "," + Gateway(1) + "," + Gateway(1)));
    const auto gateways = mux.Gateways();
    ASSERT_EQ(gateways->gateways.size(), 3U);
    EXPECT_EQ(gateways->gateways.at(0)->ID(), 3);
    EXPECT_EQ(gateways->gateways.at(1)->ID(), 1);
    EXPECT_EQ(gateways->gateways.at(2)->ID(), 1);
    ASSERT_EQ(gateways->gatewaysByID.size(), 2U);
    EXPECT_EQ(gateways->gatewaysByID.at(1), gateways->gateways.at(1));
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

TEST_F(BrenkMuxConfiguration, GoesOnWithTheNextAfterAGatewayThatCannotBeCreated) {
    mux.ParseConfiguration(
        Enabled(R"({"ID":1,"IpAddress":"","Port":2101},{"ID":2,"IpAddress":"127.0.0.1","Port":0},)" + Gateway(3)));
    EXPECT_EQ(log.Count(error, "Cannot create gateway with ID 1. Null or empty object"), 1);
    EXPECT_EQ(log.Count(error, "Cannot create gateway with ID 2. Invalid argument found"), 1);
    ASSERT_EQ(mux.Gateways()->gateways.size(), 1U);
    EXPECT_EQ(mux.Gateways()->gateways.front()->ID(), 3);
    EXPECT_EQ(log.Count(info, "Virtual gateways initialized."), 1);
    ExpectNacks();
}

TEST_F(BrenkMuxConfiguration, TakesPortsOutsideTheRangeWhichThenCannotBeConnected) {
    mux.ParseConfiguration(R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":-1},)"
                           R"({"ID":2,"IpAddress":"127.0.0.1","Port":65536}]})");
    mux.ConnectVirtualGateways();
    EXPECT_EQ(log.Count(error, "Cannot connect to gateway with ID 1 over IP 127.0.0.1"), 1);
    EXPECT_EQ(log.Count(error, "Cannot connect to gateway with ID 2 over IP 127.0.0.1"), 1);
    EXPECT_TRUE(log.Holds(error, "GetAddrInfo error:"));
}

// An answer that was on the way still reaches its client.
TEST_F(BrenkMuxConfiguration, ReplacesTheOneBeforeButForItsPendingRequests) {
    mux.ParseConfiguration(Enabled(Gateway(1, R"(,"Devices":[{"Name":"Door","ID":5}])")));
    mux.Route(Request(10, "m1", LockData()));
    const std::weak_ptr<Brenk::VirtualGateway> old = mux.Gateways()->gateways.front();
    mux.ParseConfiguration(Enabled(Gateway(2)));
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(log.Count(verbose, "Virtual gateway destructor called."), 1);
    EXPECT_EQ(mux.Gateways()->gatewaysByID.count(1), 0U);
    EXPECT_EQ(mux.Gateways()->gatewaysByID.count(2), 1U);
    EXPECT_TRUE(mux.Gateways()->devices.empty());
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxConfiguration, CanBeTakenFromAMessage) {
    const auto message = MuxMessageBuilder().ParseMessage(Request(2, "m1", Enabled(Gateway(7))));
    const MuxLog muxLog(log);
    EXPECT_TRUE(mux.ParseConfigurationMessage(*message));
    muxLog.Expect(Steps{{info, "Trying to parse a configuration message that arrived from client."}} +
                  Summary("enabled", GatewaySummary("7")) +
                  Steps{{info, "Received message configuration parsed. Activating new configuration."},
                        {verbose, "Destroying all gateways already configured..."}} +
                  kGatewaysMade);
    EXPECT_EQ(mux.Gateway(7)->ID(), 7);
}

TEST_F(BrenkMuxConfiguration, CannotBeTakenFromAMessageWithoutOne) {
    for (const std::string& text : {Request(2), Request(10, "m1", LockData())}) {
        const auto message = MuxMessageBuilder().ParseMessage(text);
        const MuxLog muxLog(log);
        EXPECT_FALSE(mux.ParseConfigurationMessage(*message));
        muxLog.Expect({{info, "Trying to parse a configuration message that arrived from client."},
                       {error, "Cannot parse configuration message data. Invalid data."}});
    }
    EXPECT_FALSE(mux.IsConfigured());
}

}  // namespace
}  // namespace Mux
