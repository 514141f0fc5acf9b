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

}  // namespace
}  // namespace MuxProxy
