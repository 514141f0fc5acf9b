#include "mux/configuration/MuxConfigurationParser.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/json/ParsedJson.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;

namespace Mux::Configuration {
namespace {

// Reads the same configuration both ways and gives what the first way gave.
MuxConfigurationData Parsed(const std::string& text) {
    MuxConfigurationData fromText;
    EXPECT_TRUE(MuxConfigurationParser().ParseText(text, fromText)) << text;

    const auto document = Testing::ParsedJson(text);
    MuxConfigurationData fromObject;
    EXPECT_TRUE(MuxConfigurationParser().ParseObject(document, fromObject)) << text;
    EXPECT_EQ(fromObject.enabled, fromText.enabled) << text;
    EXPECT_EQ(fromObject.gateways.size(), fromText.gateways.size()) << text;
    return fromText;
}

GatewayConfiguration GatewayOf(const std::string& gateway) {
    const auto configuration = Parsed(R"({"Gateways":[)" + gateway + "]}");
    EXPECT_EQ(configuration.gateways.size(), 1U) << gateway;
    return configuration.gateways.at(0);
}

DeviceConfiguration DeviceOf(const std::string& device) {
    const auto gateway = GatewayOf(R"({"Devices":[)" + device + "]}");
    EXPECT_EQ(gateway.devices.size(), 1U) << device;
    return gateway.devices.at(0);
}

// A configuration with something in every place, to see what is left of it.
MuxConfigurationData Filled() {
    MuxConfigurationData configuration;
    configuration.enabled = true;
    configuration.gateways.push_back({9, "old", "10.0.0.9", 9, {{"old", 9}}});
    return configuration;
}

TEST(MuxConfigurationParser, ReadsAWholeConfiguration) {
    const auto configuration =
        Parsed(R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"192.168.1.20","Port":2101,)"
               R"("Devices":[{"Name":"Door 1","ID":4711}]}]})");
    EXPECT_TRUE(configuration.enabled);
    ASSERT_EQ(configuration.gateways.size(), 1U);
    const auto& gateway = configuration.gateways.at(0);
    EXPECT_EQ(gateway.id, 1);
    EXPECT_EQ(gateway.description, "Hall");
    EXPECT_EQ(gateway.ipAddress, "192.168.1.20");
    EXPECT_EQ(gateway.port, 2101);
    ASSERT_EQ(gateway.devices.size(), 1U);
    EXPECT_EQ(gateway.devices.at(0).name, "Door 1");
    EXPECT_EQ(gateway.devices.at(0).id, 4711);
}

TEST(MuxConfigurationParser, KeepsGatewaysAndDevicesInTheOrderOfTheDocument) {
    const auto configuration =
        Parsed(R"({"Gateways":[{"ID":3,"Devices":[{"ID":32},{"ID":31}]},{"ID":1},{"ID":2,"Devices":[{"ID":21}]}]})");
    ASSERT_EQ(configuration.gateways.size(), 3U);
    EXPECT_EQ(configuration.gateways.at(0).id, 3);
    EXPECT_EQ(configuration.gateways.at(1).id, 1);
    EXPECT_EQ(configuration.gateways.at(2).id, 2);
    ASSERT_EQ(configuration.gateways.at(0).devices.size(), 2U);
    EXPECT_EQ(configuration.gateways.at(0).devices.at(0).id, 32);
    EXPECT_EQ(configuration.gateways.at(0).devices.at(1).id, 31);
    EXPECT_EQ(configuration.gateways.at(2).devices.at(0).id, 21);
}

TEST(MuxConfigurationParser, OnlyTheLiteralTrueEnables) {
    EXPECT_TRUE(Parsed(R"({"Enabled":true})").enabled);
    for (const char* value : {"false", "null", "1", "\"true\"", "[true]", "{}"}) {
        EXPECT_FALSE(Parsed(std::string(R"({"Enabled":)") + value + "}").enabled) << value;
    }
    EXPECT_FALSE(Parsed(R"({"enabled":true})").enabled);
}

TEST(MuxConfigurationParser, GatewaysThatAreNoArrayAreSuccessAndNoGateways) {
    for (const char* value : {"{}", "null", "1", "\"x\"", "true"}) {
        const auto configuration = Parsed(std::string(R"({"Enabled":true,"Gateways":)") + value + "}");
        EXPECT_TRUE(configuration.enabled) << value;
        EXPECT_TRUE(configuration.gateways.empty()) << value;
    }
}

TEST(MuxConfigurationParser, DevicesThatAreMissingOrNoArrayAreNoDevices) {
    EXPECT_TRUE(GatewayOf("{}").devices.empty());
    for (const char* value : {"{}", "null", "1", "\"x\"", "[]"}) {
        EXPECT_TRUE(GatewayOf(std::string(R"({"ID":1,"Devices":)") + value + "}").devices.empty()) << value;
    }
}

TEST(MuxConfigurationParser, MembersOfAGatewayThatAreMissingOrOfTheWrongTypeTakeTheirDefaults) {
    for (const char* gateway :
         {"{}", R"({"ID":"1","Description":1,"IpAddress":[],"Port":"2101"})",
          R"({"ID":null,"Description":null,"IpAddress":null,"Port":null})", R"({"ID":true,"Port":{}})",
          R"({"id":1,"description":"d","ipAddress":"h","IPAddress":"h","port":2,"devices":[{"ID":1}]})"}) {
        const auto parsed = GatewayOf(gateway);
        EXPECT_EQ(parsed.id, 0) << gateway;
        EXPECT_EQ(parsed.description, "") << gateway;
        EXPECT_EQ(parsed.ipAddress, "") << gateway;
        EXPECT_EQ(parsed.port, 0) << gateway;
        EXPECT_TRUE(parsed.devices.empty()) << gateway;
    }
}

TEST(MuxConfigurationParser, MembersOfADeviceThatAreMissingOrOfTheWrongTypeTakeTheirDefaults) {
    for (const char* device :
         {"{}", R"({"Name":1,"ID":"1"})", R"({"Name":null,"ID":null})", R"({"name":"d","Id":1})"}) {
        EXPECT_EQ(DeviceOf(device).name, "") << device;
        EXPECT_EQ(DeviceOf(device).id, 0) << device;
    }
}

TEST(MuxConfigurationParser, AcceptsValuesThatMakeNoSense) {
    EXPECT_EQ(GatewayOf(R"({"Port":0})").port, 0);
    EXPECT_EQ(GatewayOf(R"({"Port":65536})").port, 65536);
    EXPECT_EQ(GatewayOf(R"({"Port":-1})").port, -1);
    EXPECT_EQ(GatewayOf(R"({"IpAddress":" not an address "})").ipAddress, " not an address ");
    const auto twice = Parsed(R"({"Gateways":[{"ID":1,"Port":1},{"ID":1,"Port":2}]})");
    ASSERT_EQ(twice.gateways.size(), 2U);
    EXPECT_EQ(twice.gateways.at(0).id, twice.gateways.at(1).id);
}

TEST(MuxConfigurationParser, ReadsNumbersAtTheLimitsOf32Bits) {
    EXPECT_EQ(GatewayOf(R"({"ID":2147483647})").id, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(GatewayOf(R"({"ID":-2147483648})").id, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(GatewayOf(R"({"Port":2147483647})").port, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(DeviceOf(R"({"ID":-2147483648})").id, std::numeric_limits<std::int32_t>::min());
}

TEST(MuxConfigurationParser, KeepsTextsByteForByte) {
    EXPECT_EQ(GatewayOf(R"({"Description":"a\u0000b \u00e9"})").description, std::string("a\0b \xC3\xA9", 6));
    EXPECT_EQ(DeviceOf("{\"Name\":\"\xFF\xC0\"}").name, "\xFF\xC0");
}

TEST(MuxConfigurationParser, ARootThatIsNoObjectIsSuccessNotEnabledAndNoGateways) {
    for (const char* text : {"[]", "[{\"Enabled\":true}]", "1", "\"x\"", "true", "null"}) {
        const auto configuration = Parsed(text);
        EXPECT_FALSE(configuration.enabled) << text;
        EXPECT_TRUE(configuration.gateways.empty()) << text;
    }
}

TEST(MuxConfigurationParser, ReplacesAllThatTheDestinationHeld) {
    for (const char* text : {"{}", "[]", R"({"Gateways":[{"ID":1}]})"}) {
        auto configuration = Filled();
        ASSERT_TRUE(MuxConfigurationParser().ParseText(text, configuration));
        EXPECT_FALSE(configuration.enabled) << text;
        EXPECT_EQ(configuration.gateways.size(), Parsed(text).gateways.size()) << text;
    }
}

TEST(MuxConfigurationParser, MalformedTextFailsWithoutALineAndLeavesTheDestinationAsItWas) {
    const CapturedLog log;
    for (const std::string& text :
         {std::string(""), std::string(" "), std::string("{"), std::string("{\"Enabled\":true,}"),
          std::string("{Enabled:true}"), std::string("{} x"), std::string("// c\n{}"), std::string("hello"),
          std::string("{\"Enabled\":true}\0", 17), std::string("{}\0}", 4)}) {
        auto configuration = Filled();
        EXPECT_FALSE(MuxConfigurationParser().ParseText(text, configuration)) << text;
        EXPECT_TRUE(configuration.enabled) << text;
        EXPECT_EQ(configuration.gateways.size(), 1U) << text;
    }
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(MuxConfigurationParser, LeavesTheParsedObjectAsItWas) {
    const auto document = Testing::ParsedJson(R"({"Enabled":true,"Gateways":[{"Description":"Hall"}]})");
    MuxConfigurationData configuration;
    ASSERT_TRUE(MuxConfigurationParser().ParseObject(document, configuration));
    EXPECT_STREQ(document["Gateways"][0]["Description"].GetString(), "Hall");
}

TEST(MuxConfigurationParser, TakesAMemberNested65000LevelsDeep) {
    EXPECT_TRUE(Parsed(R"({"Enabled":true,"x":)" + std::string(65000, '[') + std::string(65000, ']') + "}").enabled);
}

TEST(MuxConfigurationParserDeathTest, ANumberThatIsNoSigned32BitIntegerIsAFailedAssertion) {
    for (const char* value : {"1.5", "1.0", "2147483648", "-2147483649", "18446744073709551615"}) {
        const std::string number = value;
        EXPECT_DEATH(GatewayOf(R"({"ID":)" + number + "}"), "Assertion .* failed") << value;
        EXPECT_DEATH(GatewayOf(R"({"Port":)" + number + "}"), "Assertion .* failed") << value;
        EXPECT_DEATH(DeviceOf(R"({"ID":)" + number + "}"), "Assertion .* failed") << value;
    }
}

TEST(MuxConfigurationParserDeathTest, AGatewayOrADeviceThatIsNoObjectIsAFailedAssertion) {
    for (const char* element : {"1", "\"x\"", "[]", "null", "true"}) {
        EXPECT_DEATH(GatewayOf(element), "Assertion .*IsObject.* failed") << element;
        EXPECT_DEATH(DeviceOf(element), "Assertion .*IsObject.* failed") << element;
    }
}

}  // namespace
}  // namespace Mux::Configuration
