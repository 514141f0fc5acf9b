// What is said of each kind of configuration, good and bad. Whether the Mux really takes it is always asked of the
// Mux's own parser, so a row that is wrong about that fails.

#include "tools/muxctl/ConfigurationCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace Muxctl {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

const std::string kGood =
    R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"192.168.1.20","Port":2101,)"
    R"("Devices":[{"Name":"Door 1","ID":4711}]}]})";

// A whole configuration around the members of its one gateway.
std::string WithGateway(const std::string& members) {
    return R"({"Enabled":true,"Gateways":[{)" + members + "}]}";
}

std::string WithDevices(const std::string& devices) {
    return WithGateway(R"("ID":1,"IpAddress":"a","Port":1,"Devices":)" + devices);
}

const std::string kNoDoor = "; the Mux would connect to no gateway, and no door works";
const std::string kLeftOut = "; the Mux leaves this gateway out, and its doors do not work";
const std::string kAborts = "; the Mux would abort at every start, and no door works";
const std::string kZero = "; the Mux uses 0; only requests for gateway 0 reach its doors";
const std::string kUnused = "; the Mux leaves this gateway out anyway";
const std::string kNone = "!: gives no gateway, and no door works";
const std::string kExits = "; the Mux would exit after every start, and no door works";

// Each finding as a line: "where: text", with an exclamation mark in front when it is an error.
std::vector<std::string> LinesOf(const Findings& findings) {
    std::vector<std::string> lines;
    for (const Finding& finding : findings) {
        const std::string mark = finding.level == Finding::Level::kError ? "!" : "";
        lines.push_back(mark + finding.where + ": " + finding.text);
    }
    return lines;
}

bool IsError(const std::string& line) {
    return line.front() == '!';
}

struct Row {
    std::string text;
    std::vector<std::string> findings;
};

// A file can be used unless it has an error.
void ExpectRows(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        const ConfigurationReport report = CheckConfiguration(row.text);
        EXPECT_EQ(report.isUsable, std::none_of(row.findings.begin(), row.findings.end(), IsError)) << row.text;
        EXPECT_EQ(LinesOf(report.findings), row.findings) << row.text;
    }
}

TEST(ConfigurationCheckTest, FindsNothingWhereAllIsWell) {
    ExpectRows({
        {kGood, {}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":65535)"), {}},
        // The outermost locks.
        {WithDevices(R"([{"ID":0},{"ID":65535}])"), {}},
        {R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"a","Port":1,"Devices":[{"ID":5}]},)"
         R"({"ID":2,"IpAddress":"a","Port":2,"Devices":[{"ID":5}]}]})",
         {}},
    });
}

TEST(ConfigurationCheckTest, WarnsOfKeysThatTheMuxDoesNotKnow) {
    ExpectRows({
        {R"({"Version":1,)" + kGood.substr(1), {"Version: is unknown and ignored"}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":1,"Name":"x")"), {"Gateways[0].Name: is unknown and ignored"}},
        {WithDevices(R"([{"ID":1,"IpAddress":"b"}])"), {"Gateways[0].Devices[0].IpAddress: is unknown and ignored"}},
        {WithGateway(R"("ID":1,"ipAddress":"a","Port":1)"),
         {"Gateways[0].ipAddress: is unknown and ignored; did you mean \"IpAddress\"?",
          "Gateways[0].IpAddress: is missing" + kLeftOut, kNone}},
        {WithGateway(R"("ID":1,"IpAdress":"a","Port":1,"Descripton":"x","Device":[])"),
         {"Gateways[0].IpAdress: is unknown and ignored; did you mean \"IpAddress\"?",
          "Gateways[0].Descripton: is unknown and ignored; did you mean \"Description\"?",
          "Gateways[0].Device: is unknown and ignored; did you mean \"Devices\"?",
          "Gateways[0].IpAddress: is missing" + kLeftOut, kNone}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":1,"ID":2)"),
         {"Gateways[0].ID: is duplicate; the Mux uses the first"}},
    });
}

TEST(ConfigurationCheckTest, WarnsOfWrongTypes) {
    ExpectRows({
        {R"({"Enabled":1,"Gateways":{}})",
         {"Enabled: must be true or false, not the number 1" + kNoDoor,
          "Gateways: must be an array, not an object" + kNoDoor, kNone}},
        {WithGateway(R"("ID":"1","Description":null,"IpAddress":false,"Port":"2101","Devices":{})"),
         {"Gateways[0].ID: must be an integer, not the string \"1\"" + kZero,
          "Gateways[0].Description: must be a string, not null; the gateway has no name; its doors work",
          "Gateways[0].IpAddress: must be a string, not false" + kLeftOut,
          "Gateways[0].Port: must be an integer, not the string \"2101\"" + kLeftOut,
          "Gateways[0].Devices: must be an array, not an object; the locks have no names; their doors work", kNone}},
        {WithDevices(R"([{"Name":[],"ID":true}])"),
         {"Gateways[0].Devices[0].Name: must be a string, not an array; the lock has no name; its door works",
          "Gateways[0].Devices[0].ID: must be an integer, not true; the Mux uses 0; the door works by its true ID"}},
        // Only the beginning of a long string is shown.
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":"\")" + std::string(1000, 'x') + "\""),
         {R"(Gateways[0].Port: must be an integer, not the string "\")" + std::string(39, 'x') + "\"..." + kLeftOut,
          kNone}},
        {"[]", {": must be an object, not an array" + kNoDoor, kNone}},
    });
}

TEST(ConfigurationCheckTest, WarnsOfValuesThatMakeNoSense) {
    ExpectRows({
        {"{}", {"Enabled: is missing" + kNoDoor, "Gateways: is missing" + kNoDoor, kNone}},
        {R"({"Enabled":true,"Gateways":[]})", {"Gateways: has no gateway" + kNoDoor, kNone}},
        {R"({"Enabled":false,"Gateways":[{"ID":1,"IpAddress":"a","Port":1}]})",
         {"Enabled: is not true" + kNoDoor, kNone}},
        {WithGateway(""),
         {"Gateways[0].ID: is missing" + kZero, "Gateways[0].IpAddress: is missing" + kLeftOut,
          "Gateways[0].Port: is missing" + kLeftOut, kNone}},
        // A port of which no use is made, for want of an address.
        {WithGateway(R"("ID":1,"IpAddress":"","Port":65536)"),
         {"Gateways[0].IpAddress: is empty" + kLeftOut, "Gateways[0].Port: is 65536, which is not a TCP port" + kUnused,
          kNone}},
        // An address of which no use is made, for want of a port.
        {WithGateway(R"("ID":1,"IpAddress":" ","Port":0)"),
         {"Gateways[0].IpAddress: is \" \", neither an address nor a host name" + kUnused,
          "Gateways[0].Port: is 0" + kLeftOut, kNone}},
        // Neither is used, for all is switched off.
        {R"({"Gateways":[{"ID":1,"IpAddress":"300.1.1.1","Port":-1}]})",
         {"Enabled: is missing" + kNoDoor,
          "Gateways[0].IpAddress: is \"300.1.1.1\", neither an address nor a host name" + kUnused,
          "Gateways[0].Port: is -1, which is not a TCP port" + kUnused, kNone}},
        {R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"a","Port":1},{"ID":2,"IpAddress":"b","Port":1},)"
         R"({"ID":2,"IpAddress":"a","Port":1},{"ID":3,"IpAddress":"a","Port":2}]})",
         {"Gateways[2].ID: is 2, like Gateways[1], which gets all its requests; the doors of this gateway do not work",
          "Gateways[2]: has the address and port of Gateways[0]; the Mux connects to it twice, and requests may go "
          "unanswered"}},
        {WithDevices(R"([{"ID":5},{"ID":6},{"ID":5},{}])"),
         {"Gateways[0].Devices[2].ID: is 5, like Devices[0] of this gateway; its door works",
          "Gateways[0].Devices[3].ID: is missing; the Mux uses 0; the door works by its true ID"}},
        {WithDevices(R"([{"ID":256}])"),
         {"Gateways[0].Devices[0].ID: is 256, which is reserved for the Mux's questions to the gateway; no door "
          "has it"}},
        {WithDevices(R"([{"ID":-1},{"ID":65536}])"),
         {"Gateways[0].Devices[0].ID: is -1; events have only its low 16 bits and name lock 65535",
          "Gateways[0].Devices[1].ID: is 65536; events have only its low 16 bits and name lock 0"}},
    });
}

TEST(ConfigurationCheckTest, RefusesWhatEndsTheMux) {
    const auto noInteger = [](const std::string& value) {
        return ": must be a 32-bit integer, not the number " + value + kAborts;
    };
    ExpectRows({
        {WithGateway(R"("ID":1.5,"IpAddress":"a","Port":1)"), {"!Gateways[0].ID" + noInteger("1.5")}},
        {WithGateway(R"("ID":1.0,"IpAddress":"a","Port":1)"), {"!Gateways[0].ID" + noInteger("1.0")}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":2147483648)"), {"!Gateways[0].Port" + noInteger("2147483648")}},
        {WithGateway(R"("ID":-2147483649,"IpAddress":"a","Port":1)"), {"!Gateways[0].ID" + noInteger("-2147483649")}},
        {WithDevices(R"([{"ID":1e3}])"), {"!Gateways[0].Devices[0].ID" + noInteger("1000.0")}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":65536)"),
         {"!Gateways[0].Port: is 65536, which is not a TCP port" + kExits}},
        // The first of two counts.
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":65536,"Port":1)"),
         {"Gateways[0].Port: is duplicate; the Mux uses the first",
          "!Gateways[0].Port: is 65536, which is not a TCP port" + kExits}},
        {WithGateway(R"("ID":1,"IpAddress":"a","Port":-1)"),
         {"!Gateways[0].Port: is -1, which is not a TCP port" + kExits}},
        {R"({"Enabled":true,"Gateways":[null]})", {"!Gateways[0]: must be an object, not null" + kAborts}},
        {WithDevices(R"([{"ID":1},"Door"])"),
         {"!Gateways[0].Devices[1]: must be an object, not the string \"Door\"" + kAborts}},
        {R"({"enabled":true,"Gateways":[7]})",
         {"enabled: is unknown and ignored; did you mean \"Enabled\"?", "Enabled: is missing" + kNoDoor,
          "!Gateways[0]: must be an object, not the number 7" + kAborts}},
    });
}

TEST(ConfigurationCheckTest, RefusesAddressesThatCanBeNone) {
    for (const char* const address :
         {" ", "192.168.1.20 ", "300.1.1.1", "192.168.1.20.30", "1.2.3.", "4294967296", "192.168.1.20:2101",
          "192.168.1.0/24", "tcp://hall", "fe80::1::2", "hall door", "hall\\n", "hall..example", ".hall", "."}) {
        const ConfigurationReport report =
            CheckConfiguration(WithGateway(R"("ID":1,"Port":1,"IpAddress":")" + std::string(address) + "\""));
        EXPECT_FALSE(report.isUsable) << address;
        EXPECT_THAT(LinesOf(report.findings),
                    ElementsAre(AllOf(StartsWith("!Gateways[0].IpAddress: is \""),
                                      EndsWith("neither an address nor a host name" + kExits))))
            << address;
    }
}

TEST(ConfigurationCheckTest, TakesAddressesAndNames) {
    for (const char* const address : {"192.168.1.20", "127.1", "3232235796", "::1", "fe80::1%no-such-card0",
                                      "localhost", "hall.example.", "gateway-1", "7th.floor", "1.2.3.x", "t\\u00fcr"}) {
        EXPECT_THAT(
            LinesOf(CheckConfiguration(WithGateway(R"("ID":1,"Port":1,"IpAddress":")" + std::string(address) + "\""))
                        .findings),
            IsEmpty())
            << address;
    }
}

// Why it is none is said in the JSON library's words.
TEST(ConfigurationCheckTest, SaysWhereATextIsNoJson) {
    const std::vector<std::pair<std::string, const char*>> positionsInTexts = {
        {"", "line 1, column 1: "},
        {"{\n  \"Enabled\": true\n  \"Gateways\": []\n}", "line 3, column 3: "},
        {R"({"Enabled":true,})", "line 1, column 17: "},
        {"// hello\n{}", "line 1, column 1: "},
        {"{}\n{}", "line 2, column 1: "},
        {std::string("{}\n \0{}", 7), "line 2, column 2: A NUL character."},
        {R"({"a":1e-99999999999)", "line 1, column 20: "},
        {R"({"Port":1e999})", "line 1, column 9: "},
    };
    for (const auto& [text, position] : positionsInTexts) {
        const ConfigurationReport report = CheckConfiguration(text);
        EXPECT_FALSE(report.isUsable) << text;
        EXPECT_THAT(LinesOf(report.findings),
                    ElementsAre(AllOf(StartsWith(std::string("!: is not JSON: ") + position),
                                      EndsWith(". The Mux would refuse every request, and no door "
                                               "works."))));
    }
}

TEST(ConfigurationCheckTest, EndsOnNothing) {
    EXPECT_EQ(CheckConfiguration(R"({"Enabled":1e-99999999999})").gatewayCount, 0U);
    EXPECT_FALSE(CheckConfiguration(std::string(1000000, '[')).isUsable);
    EXPECT_EQ(CheckConfiguration(std::string(100000, '[') + std::string(100000, ']')).gatewayCount, 0U);
}

TEST(ConfigurationCheckTest, GoesThroughTheFileOnce) {
    const Findings findings =
        CheckConfiguration(
            R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"","Port":1,"Devices":[{"Id":5,"ID":256}]},)"
            R"({"ID":1,"IpAddress":"a","Port":0},{"ID":2,"IpAddress":"b","Port":1,"Devices":[{}]},)"
            R"({"ID":"3","IpAddress":"c","Port":1,"Name":"x"}]})")
            .findings;
    std::vector<std::string> places;
    std::transform(findings.begin(), findings.end(), std::back_inserter(places),
                   [](const Finding& finding) { return finding.where; });
    EXPECT_THAT(places, ElementsAre("Gateways[0].IpAddress", "Gateways[0].Devices[0].Id", "Gateways[0].Devices[0].ID",
                                    "Gateways[1].Port", "Gateways[1].ID", "Gateways[2].Devices[0].ID",
                                    "Gateways[3].Name", "Gateways[3].ID"));
}

TEST(ConfigurationCheckTest, CountsTheGatewaysThatTheMuxCreates) {
    const std::string gateways =
        R"("Gateways":[{"ID":1,"IpAddress":"a","Port":1},{"ID":1,"IpAddress":"b","Port":70000},)"
        R"({"ID":2,"IpAddress":"c"},{"ID":3,"Port":1},{"ID":4,"IpAddress":"","Port":1}]})";
    EXPECT_EQ(CheckConfiguration(R"({"Enabled":true,)" + gateways).createdCount, 2U);
    EXPECT_EQ(CheckConfiguration(R"({"Enabled":false,)" + gateways).createdCount, 0U);
}

// A text of so many of what `element` writes, with a comma between.
template <typename Element>
std::string ListOf(std::size_t count, Element element) {
    std::string list;
    for (std::size_t index = 0; index < count; ++index) {
        list += index == 0 ? "" : ",";
        list += element(std::to_string(index));
    }
    return list;
}

// How many findings there are. A check that looks at every element again for each takes minutes for these.
std::size_t CountFindingsInTime(const std::string& text) {
    const auto start = std::chrono::steady_clock::now();
    const ConfigurationReport report = CheckConfiguration(text);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    return report.findings.size();
}

constexpr std::size_t kMany = 100'000;

TEST(ConfigurationCheckTest, TakesNoLongerForEachOfManyKeys) {
    const std::string unknown = ListOf(kMany, [](const std::string& index) { return R"("a)" + index + R"(":1)"; });
    const std::string same = ListOf(kMany, [](const std::string&) { return R"("Gateways":[])"; });
    // One for each unknown one, for each but the first of the others, for not being enabled, and for all.
    EXPECT_EQ(CountFindingsInTime("{" + unknown + "," + same + "}"), kMany + kMany - 1 + 2);
}

}  // namespace
}  // namespace Muxctl
