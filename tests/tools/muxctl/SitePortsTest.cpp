#include "tools/muxctl/SitePorts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/muxctl/SiteFolder.h"

namespace Muxctl {
namespace {

using testing::EndsWith;

TEST(SitePortsTest, AreThoseOfTheEnvironmentFiles) {
    const SiteFolder sites;
    sites.Add("hall", "MUX_PORT=6001\n");
    sites.Add("annex");
    EXPECT_EQ(PortOf("annex", sites.Places()).port, 5555);
    sites.SetDefaults("# MUX_PORT=1\nMUX_PORT=6000\n");
    EXPECT_EQ(PortOf("annex", sites.Places()).port, 6000);
    EXPECT_EQ(PortOf("hall", sites.Places()).port, 6001);
}

TEST(SitePortsTest, BelongToTheSiteThatWasEnabledFirst) {
    const SiteFolder sites;
    for (const char* const site : {"annex", "hall", "other", "yard"}) {
        sites.Add(site);
    }
    sites.Add("apart", "MUX_PORT=6000");
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), std::nullopt) << "none is enabled";
    sites.Enable("apart", 0);
    sites.Enable("hall", 10);
    sites.Enable("annex", 20);
    sites.Enable("yard", 20);
    EXPECT_EQ(SiteBefore("hall", 5555, sites.Places()), std::nullopt);
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), "hall");
    EXPECT_EQ(ForeignPortText("annex", 5555, sites.Places()),
              "port 5555 belongs to the site hall, which comes before annex");
    EXPECT_EQ(ForeignPortText("hall", 5555, sites.Places()), "");
    EXPECT_EQ(SiteBefore("other", 5555, sites.Places()), "annex") << "not enabled itself";
    EXPECT_EQ(SiteBefore("hall", 6000, sites.Places()), "apart");
    std::filesystem::remove(std::filesystem::path(sites.Places().folder) / "hall.json");
    EXPECT_EQ(SiteBefore("yard", 5555, sites.Places()), "annex") << "enabled at the same time";
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), std::nullopt);
}

TEST(SitePortsTest, BelongToTheSiteThatRunsWhereOneIsNotEnabled) {
    const SiteFolder sites;
    sites.Add("annex");
    sites.Add("hall");
    sites.Start("hall", 10);
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), "hall");
    sites.Start("annex", 20);
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), "hall");
    EXPECT_EQ(SiteBefore("hall", 5555, sites.Places()), std::nullopt);
    sites.Enable("annex", 5);
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), "hall");
    EXPECT_EQ(SiteBefore("hall", 5555, sites.Places()), std::nullopt);
    sites.Enable("hall", 30);
    EXPECT_EQ(SiteBefore("hall", 5555, sites.Places()), "annex") << "both are enabled";
}

TEST(SitePortsTest, AreLookedAtForAFileOfASiteToo) {
    const SiteFolder sites;
    sites.Add("hall");
    const std::string folder = sites.Places().folder;
    EXPECT_EQ(SiteOfConfiguration(folder + "/hall.json", folder), "hall");
    EXPECT_EQ(
        SiteOfConfiguration(folder + "/../" + std::filesystem::path(folder).filename().string() + "/hall.json", folder),
        "hall");
    EXPECT_EQ(SiteOfConfiguration("hall.json", folder), "");
    EXPECT_EQ(SiteOfConfiguration(folder + "/hall.env", folder), "");
}

// What the Mux does with each value of its option is tried in CheckConfigTest.
TEST(SitePortsTest, SayWhatTheMuxWouldDo) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"abc", "not abc, with which the Mux would exit after every start; the Mux is not started"},
        {"0", "not 0, with which the Mux would exit after every start; the Mux is not started"},
        {"70000", "not 70000, with which the Mux would exit after every start; the Mux is not started"},
        {"99999999999", "not 99999999999, with which the Mux would exit after every start; the Mux is not started"},
        {"-1", "not -1, with which the Mux would exit after every start; the Mux is not started"},
        {"", "not empty, with which the Mux would listen on port 5555; the Mux is not started"},
        {"6000x", "not 6000x, with which the Mux would listen on port 6000; the Mux is not started"},
        {"06000", "not 06000, with which the Mux would listen on port 6000"},
    };
    for (const auto& [value, text] : rows) {
        const SitePort port = PortFrom(value);
        ASSERT_EQ(port.findings.size(), 1U) << value;
        EXPECT_THAT(port.findings.front().text, EndsWith(text));
    }
    EXPECT_EQ(PortFrom("6000x").port, std::nullopt);
    EXPECT_EQ(PortFrom("06000").port, 6000);
}

// Of three sites, of which two have one port.
class PortComparisonTest : public testing::Test {
  protected:
    PortComparisonTest() {
        sites_.Add("annex");
        sites_.Add("apart", "MUX_PORT=6000");
        sites_.Add("hall");
    }

    ConfigurationReport ReportOn(const std::string& site) const {
        ConfigurationReport report = {true, 1, 1, {}};
        PortComparison({"annex", "apart", "hall"}, sites_.Places()).AddFindings(site, report);
        return report;
    }

    void ExpectFinding(const std::string& site, Finding::Level level, const std::string& text) const {
        const ConfigurationReport report = ReportOn(site);
        EXPECT_EQ(report.isUsable, level == Finding::Level::kWarning) << site;
        ASSERT_EQ(report.findings.size(), 1U) << site;
        EXPECT_EQ(report.findings.front().where, "MUX_PORT");
        EXPECT_EQ(report.findings.front().level, level);
        EXPECT_EQ(report.findings.front().text, text);
    }

    SiteFolder sites_;
};

TEST_F(PortComparisonTest, HasNothingAgainstAPortOfItsOwn) {
    EXPECT_TRUE(ReportOn("apart").isUsable);
    EXPECT_TRUE(ReportOn("apart").findings.empty());
}

TEST_F(PortComparisonTest, RefusesBothWhileNoneIsEnabled) {
    ExpectFinding("hall", Finding::Level::kError,
                  "is 5555, as for the site annex; only the one that is enabled first is started");
    ExpectFinding("annex", Finding::Level::kError,
                  "is 5555, as for the site hall; only the one that is enabled first is started");
}

TEST_F(PortComparisonTest, WarnsTheSiteThatWasEnabledFirst) {
    sites_.Enable("hall", 10);
    const std::string refusal = PortRefusal(5555, "hall").text;
    ExpectFinding("hall", Finding::Level::kWarning, "is 5555, as for the site annex, which is not started");
    ExpectFinding("annex", Finding::Level::kError, refusal);
    sites_.Enable("annex", 20);
    ExpectFinding("hall", Finding::Level::kWarning, "is 5555, as for the site annex, which is not started");
    ExpectFinding("annex", Finding::Level::kError, refusal);
}

TEST_F(PortComparisonTest, RefusesAPortThatIsNone) {
    sites_.SetDefaults("MUX_PORT=x");
    EXPECT_FALSE(ReportOn("annex").isUsable);
    EXPECT_TRUE(ReportOn("apart").isUsable);
}

}  // namespace
}  // namespace Muxctl
