#include "tools/muxctl/StartCheck.h"

#include <gtest/gtest.h>

#include "tests/tools/muxctl/SiteFolder.h"

namespace Muxctl {
namespace {

const std::string kTwoGateways = R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"a","Port":2101},)"
                                 R"({"ID":2,"IpAddress":"b","Port":)";

// Whether a site with this file may start, and what is then added to the report.
struct Start {
    bool mayStart;
    Findings findings;
};

Start StartWith(const std::string& configuration, const SiteFolder& sites,
                const std::optional<std::string>& port = std::nullopt) {
    ConfigurationReport report = CheckConfiguration(configuration);
    report.findings.clear();
    const bool mayStart = MayStart("/etc/dw-hal-mux/annex.json", port, sites.Places(), report);
    return {mayStart, report.findings};
}

TEST(StartCheckTest, LetsOneGoodGatewayStart) {
    const SiteFolder sites;
    for (const char* const otherPort : {"2102}]}", "0}]}", "\"2101\"}]}", "70000}]}"}) {
        const Start start = StartWith(kTwoGateways + otherPort, sites);
        EXPECT_TRUE(start.mayStart) << otherPort;
        EXPECT_TRUE(start.findings.empty()) << otherPort;
    }
}

TEST(StartCheckTest, RefusesAFileWithoutAnyGateway) {
    const SiteFolder sites;
    for (const std::string& text :
         {std::string("{"), std::string("[]"), std::string("{}"), kTwoGateways + "1.5}]}",
          std::string(R"({"Enabled":false,"Gateways":[{"ID":1,"IpAddress":"a","Port":2101}]})"),
          std::string(R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"a"}]})")}) {
        const Start start = StartWith(text, sites);
        EXPECT_FALSE(start.mayStart) << text;
        ASSERT_EQ(start.findings.size(), 1U) << text;
        EXPECT_EQ(start.findings.front().level, Finding::Level::kError);
        EXPECT_EQ(start.findings.front().text, "gives no gateway; the Mux is not started");
    }
}

TEST(StartCheckTest, RefusesThePortOfAnotherSite) {
    const SiteFolder sites;
    sites.Add("annex");
    sites.Add("hall");
    sites.Enable("hall", 1);
    const Start start = StartWith(kTwoGateways + "1}]}", sites);
    EXPECT_FALSE(start.mayStart);
    ASSERT_EQ(start.findings.size(), 1U);
    EXPECT_EQ(start.findings.front().where, "MUX_PORT");
    EXPECT_EQ(start.findings.front().text,
              "is 5555, as for the site hall, which comes before; clients of one could open doors of the other; "
              "the Mux is not started");
    EXPECT_TRUE(StartWith(kTwoGateways + "1}]}", sites, "6000").mayStart) << "the unit's port counts";
}

TEST(StartCheckTest, RefusesAPortThatIsNoneAndWarnsOfOneThatIsWrittenOddly) {
    const SiteFolder sites;
    for (const char* const port : {"x", "0", "70000", "", "6000x", "06000"}) {
        const bool isPort = std::string(port) == "06000";
        const Start start = StartWith(kTwoGateways + "1}]}", sites, port);
        EXPECT_EQ(start.mayStart, isPort) << port;
        ASSERT_EQ(start.findings.size(), 1U) << port;
        EXPECT_EQ(start.findings.front().level, isPort ? Finding::Level::kWarning : Finding::Level::kError) << port;
    }
}

}  // namespace
}  // namespace Muxctl
