#include "proxy/configuration/ConfigurationReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> FindingsIn(const std::string& text) {
    std::vector<std::string> findings;
    for (const Finding& finding : ReadConfiguration(text).findings) {
        findings.push_back(FindingText("f", finding));
    }
    return findings;
}

const char* const kWhole = R"({
  "Listen": {"Addresses": ["::1"], "Port": 6000},
  "Mux": {"Host": "mux", "Port": 6001, "Configuration": "mux.json"},
  "Certificates": {"Certificate": "a", "Key": "b", "Authority": "c", "RevocationList": "d"},
  "Limits": {"Connections": 1, "ConnectionsPerClient": 2, "ConnectionsPerAddress": 3, "HandshakeSeconds": 4,
             "IdleSeconds": 5},
  "Audit": {"File": "e", "Days": 6, "MiB": 7, "WholeCards": true},
  "Rules": [{"Clients": ["reception"], "Rights": ["open"], "Gateways": "all", "Locks": [1, "3-5", "-7--6"]}]
})";

TEST(ReadConfiguration, TakesEveryMember) {
    const ReadResult result = ReadConfiguration(kWhole);
    const Configuration& read = result.configuration;
    EXPECT_THAT(result.findings, IsEmpty());
    EXPECT_THAT(read.listen.addresses, ElementsAre("::1"));
    EXPECT_EQ(read.listen.port, 6000);
    EXPECT_EQ(read.mux.host + read.mux.configuration, "muxmux.json");
    EXPECT_EQ(read.mux.port, 6001);
    const CertificateSettings& certificates = read.certificates;
    EXPECT_EQ(certificates.certificate + certificates.key + certificates.authority + certificates.revocationList,
              "abcd");
    EXPECT_THAT(
        (std::vector{read.limits.connections, read.limits.connectionsPerClient, read.limits.connectionsPerAddress}),
        ElementsAre(1, 2, 3));
    EXPECT_EQ(read.limits.handshake, std::chrono::seconds(4));
    EXPECT_EQ(read.limits.idle, std::chrono::seconds(5));
    EXPECT_EQ(read.audit.file, "e");
    EXPECT_EQ(read.audit.days, 6U);
    EXPECT_EQ(read.audit.mebibytes, 7U);
    EXPECT_TRUE(read.audit.wholeCards);
    const NumberSet& locks = read.rules.at(0).locks;
    EXPECT_TRUE(locks.Contains(1) && locks.Contains(4) && locks.Contains(-7));
    EXPECT_FALSE(locks.Contains(2) || locks.Contains(6) || locks.Contains(-5));
}

TEST(ReadConfiguration, NamesThePlaceOfEachFinding) {
    EXPECT_THAT(FindingsIn(R"({
  "Listen": {"Port": 0},
  "Certificates": {"Certificate": "a", "Key": "", "Authority": "c", "Authority": "d"},
  "Limits": {"HandshakeSeconds": 0},
  "Audit": {"File": "e", "Dayz": 6},
  "Rules": [
    {"Clients": [1], "Rights": ["fly"], "Gateways": [1, "5-3"]}
  ]
})"),
                ElementsAre("f:2:14: error: Listen/Port must be an integer from 1 to 65535",
                            "f:3:40: error: Certificates/Key must be a text that is not empty",
                            "f:3:51: error: Certificates/Authority occurs more than once",
                            "f:4:14: error: Limits/HandshakeSeconds must be an integer from 1 to 86400",
                            "f:5:26: error: Audit/Dayz is unknown",
                            "f:7:18: error: Rules/0/Clients/0 must be a text that is not empty",
                            "f:7:33: error: Rules/0/Rights/0 is no right; there are open, close, open-close, status, "
                            "access-denied, whitelist, events",
                            "f:7:57: error: Rules/0/Gateways/1 must be an integer, or a range such as \"3-5\"",
                            "f:7:5: error: Rules/0 lacks \"Locks\""));
}

TEST(ReadConfiguration, NamesWhatIsMissing) {
    EXPECT_THAT(FindingsIn("{}"),
                ElementsAre("f:1:1: error: the file lacks \"Certificates\"", "f:1:1: error: the file lacks \"Audit\"",
                            "f:1:1: error: the file lacks \"Rules\""));
}

TEST(ReadConfiguration, SaysWhereATextIsNoJson) {
    EXPECT_THAT(FindingsIn("{\n  \"Rules\" []}"), ElementsAre(testing::HasSubstr("line 2, column 11")));
}

// The members that a configuration must have, with other sections.
std::string FileWith(const std::string& sections) {
    return R"({"Certificates": {"Certificate": "a", "Key": "b", "Authority": "c"}, "Audit": {"File": "e"}, "Rules": [],)"
           "\n" +
           sections + "}";
}

TEST(ReadConfiguration, TakesEveryMemberOfMqtt) {
    const ReadResult result = ReadConfiguration(R"({
  "Certificates": {"Certificate": "a", "Key": "b", "Authority": "c"},
  "Audit": {"File": "e", "WholeCards": true},
  "Rules": [],
  "Mqtt": {"Host": "broker", "Port": 8884, "Authority": "f", "Certificate": "g", "Key": "h", "User": "i",
           "PasswordFile": "j", "Site": "hall-1_B", "Prefix": "a/b-c/d_e", "WholeCards": true, "WaitingDays": 3,
           "WaitingCount": 4, "CommandKeys": "k", "Discovery": {"Prefix": "home", "Client": "assistant"}},
  "Metrics": {"Address": "::1", "Port": 9000},
  "StatusRound": {"Hours": 12}
})");
    EXPECT_THAT(result.findings, IsEmpty());
    const MqttSettings mqtt = result.configuration.mqtt.value();
    EXPECT_THAT((std::vector{mqtt.host, mqtt.authority, mqtt.certificate, mqtt.key, mqtt.user, mqtt.passwordFile,
                             mqtt.site, mqtt.prefix, mqtt.commandKeys}),
                ElementsAre("broker", "f", "g", "h", "i", "j", "hall-1_B", "a/b-c/d_e", "k"));
    EXPECT_EQ(mqtt.port, 8884);
    EXPECT_TRUE(mqtt.wholeCards);
    EXPECT_EQ(mqtt.waitingDays, 3U);
    EXPECT_EQ(mqtt.waitingCount, 4U);
    EXPECT_EQ(mqtt.discovery.value().prefix + mqtt.discovery->client, "homeassistant");
    EXPECT_EQ(result.configuration.metrics.value().address, "::1");
    EXPECT_EQ(result.configuration.metrics->port, 9000);
    EXPECT_EQ(result.configuration.statusRound.value().interval, std::chrono::hours(12));
}

TEST(ReadConfiguration, SectionsThatAreMissingAreOff) {
    const Configuration read = ReadConfiguration(kWhole).configuration;
    EXPECT_FALSE(read.mqtt || read.metrics || read.statusRound);
    const ReadResult mqttAlone = ReadConfiguration(FileWith(R"("Mqtt": {"Host": "broker", "Site": "hall"})"));
    EXPECT_THAT(mqttAlone.findings, IsEmpty());
    EXPECT_FALSE(mqttAlone.configuration.mqtt.value().discovery);
}

TEST(ReadConfiguration, ThePortOfTheBrokerFollowsFromItsEncryption) {
    const auto portOf = [](const std::string& more) {
        return ReadConfiguration(FileWith(R"("Mqtt": {"Host": "broker", "Site": "hall")" + more + "}"))
            .configuration.mqtt.value()
            .port;
    };
    EXPECT_EQ(portOf(""), 1883);
    EXPECT_EQ(portOf(R"(, "Authority": "a")"), 8883);
    EXPECT_EQ(portOf(R"(, "Authority": "a", "Port": 1883)"), 1883);
}

TEST(ReadConfiguration, NamesWhatDoesNotFitInATopic) {
    EXPECT_THAT(
        FindingsIn(FileWith(R"("Mqtt": {"Host": "h", "Site": "a/b",
"Prefix": "a//b",
"Discovery": {"Prefix": "/a", "Client": "a+b"}})")),
        ElementsAre(
            "f:2:23: error: Mqtt/Site must be 1 to 64 letters, digits, \"-\" or \"_\"",
            "f:3:1: error: Mqtt/Prefix must be levels of letters, digits, \"-\" or \"_\" with \"/\" between them",
            "f:4:15: error: Mqtt/Discovery/Prefix must be levels of letters, digits, \"-\" or \"_\" with \"/\" "
            "between them",
            "f:4:31: error: Mqtt/Discovery/Client must be 1 to 64 bytes without \"+\", \"#\" and \"/\""));
}

TEST(ReadConfiguration, NamesWhatAMemberOfMqttRequires) {
    EXPECT_THAT(FindingsIn(FileWith(R"("Mqtt": {"Host": "h", "Site": "s", "Certificate": "c", "PasswordFile": "p",
"WholeCards": true})")),
                ElementsAre("f:2:36: error: Mqtt/Certificate requires Key",
                            "f:2:36: error: Mqtt/Certificate requires Authority",
                            "f:2:56: error: Mqtt/PasswordFile requires User",
                            "f:3:1: error: Mqtt/WholeCards requires Audit/WholeCards"));
    EXPECT_THAT(FindingsIn(FileWith(R"("Mqtt": {"Host": "h", "Site": "s", "Key": "k"})")),
                ElementsAre("f:2:36: error: Mqtt/Key requires Certificate"));
}

TEST(ReadConfiguration, TakesEveryMemberOfWeb) {
    const ReadResult result = ReadConfiguration(FileWith(R"("Web": {"Addresses": ["::1"], "Port": 444,
"Certificate": "f", "Key": "g", "Users": "h", "SessionHours": 3, "IdleMinutes": 4, "Title": "Hall",
"Auditors": ["anna", "otto"], "Cards": "i"})"));
    EXPECT_THAT(result.findings, IsEmpty());
    const WebSettings web = result.configuration.web.value();
    EXPECT_THAT(web.addresses, ElementsAre("::1"));
    EXPECT_EQ(web.port, 444);
    EXPECT_EQ(web.certificate + web.key + web.users + web.cards, "fghi");
    EXPECT_EQ(web.sessionHours, std::chrono::hours(3));
    EXPECT_EQ(web.idleMinutes, std::chrono::minutes(4));
    EXPECT_EQ(web.title, "Hall");
    EXPECT_THAT(web.auditors, ElementsAre("anna", "otto"));
}

TEST(ReadConfiguration, AnEmptyWebTakesWhatOtherSectionsSay) {
    const ReadResult result = ReadConfiguration(FileWith(R"("Web": {})"));
    EXPECT_THAT(result.findings, IsEmpty());
    const WebSettings web = result.configuration.web.value();
    EXPECT_THAT(web.addresses, ElementsAre("0.0.0.0", "::"));
    EXPECT_EQ(web.port, 8443);
    EXPECT_EQ(web.certificate + web.key, "ab");
    EXPECT_EQ(web.users + web.title, "");
    EXPECT_EQ(web.cards, "e.cards");
    EXPECT_EQ(web.sessionHours, std::chrono::hours(12));
    EXPECT_EQ(web.idleMinutes, std::chrono::hours(1));
    EXPECT_THAT(web.auditors, IsEmpty());
}

TEST(ReadConfiguration, SectionsOfServicesNeedTheirProgram) {
    const auto needsServices = [](const std::string& sections) {
        return ReadConfiguration(FileWith(sections)).configuration.NeedsServices();
    };
    EXPECT_FALSE(needsServices(R"("StatusRound": {})"));
    EXPECT_TRUE(needsServices(R"("Web": {})"));
    EXPECT_TRUE(needsServices(R"("Metrics": {})"));
    EXPECT_TRUE(needsServices(R"("Mqtt": {"Host": "broker", "Site": "hall"})"));
}

TEST(ReadConfiguration, NamesWhatCannotBeInWeb) {
    EXPECT_THAT(FindingsIn(FileWith(R"("Web": {"Certificate": "c",
"SessionHours": 721,
"IdleMinutes": 0,
"Title": ")" + std::string(65, 't') +
                                    R"("})")),
                ElementsAre("f:3:1: error: Web/SessionHours must be an integer from 1 to 720",
                            "f:4:1: error: Web/IdleMinutes must be an integer from 1 to 1440",
                            "f:5:1: error: Web/Title must be a text of at most 64 bytes",
                            "f:2:9: error: Web/Certificate requires Key"));
    EXPECT_THAT(FindingsIn(FileWith(R"("Web": {"Key": "k"})")),
                ElementsAre("f:2:9: error: Web/Key requires Certificate"));
}

// The entrance and the page at these addresses, one port.
std::vector<std::string> FindingsOfOnePort(const std::string& listen, const std::string& web) {
    return FindingsIn(FileWith(R"("Listen": {"Addresses": [")" + listen + R"("], "Port": 8443},
"Web": {"Addresses": [")" + web +
                               R"("]})"));
}

TEST(ReadConfiguration, OnePortIsNotForTheEntranceAndThePage) {
    const auto both = ElementsAre("f:3:1: error: Web/Port must differ from Listen/Port, 8443, at the same address");
    EXPECT_THAT(FindingsOfOnePort("192.0.2.7", "192.0.2.7"), both);
    EXPECT_THAT(FindingsOfOnePort("0.0.0.0", "192.0.2.7"), both);
    EXPECT_THAT(FindingsOfOnePort("192.0.2.7", "0.0.0.0"), both);
    EXPECT_THAT(FindingsOfOnePort("::1", "::"), both);
    EXPECT_THAT(FindingsOfOnePort("192.0.2.7", "192.0.2.8"), IsEmpty());
    EXPECT_THAT(FindingsOfOnePort("::", "192.0.2.8"), IsEmpty());
    EXPECT_THAT(FindingsIn(FileWith(R"("Web": {"Port": 5556})")), testing::SizeIs(1));
}

}  // namespace
}  // namespace MuxProxy
