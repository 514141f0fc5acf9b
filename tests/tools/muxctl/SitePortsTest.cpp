#include "tools/muxctl/SitePorts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/muxctl/SiteFolder.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;

TEST(SitePortsTest, AreThoseOfTheEnvironmentFiles) {
    const SiteFolder sites;
    sites.Add("hall", "MUX_PORT=6001\n");
    sites.Add("annex");
    EXPECT_EQ(PortOf("annex", sites.Places()).port, 5555);
    sites.SetDefaults("# MUX_PORT=1\nMUX_PORT=6000\n");
    EXPECT_EQ(PortOf("annex", sites.Places()).port, 6000);
    EXPECT_EQ(PortOf("hall", sites.Places()).port, 6001);
}

TEST(SitePortsTest, SayWhatIsWrong) {
    const SiteFolder sites;
    sites.Add("hall", "MUX_PORT=70000\n");
    EXPECT_EQ(PortOf("hall", sites.Places()).port, std::nullopt);
    EXPECT_THAT(PortOf("hall", sites.Places()).fault, HasSubstr("not 70000"));
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
              "port 5555 belongs to the site hall, which was enabled before annex");
    EXPECT_EQ(ForeignPortText("hall", 5555, sites.Places()), "");
    EXPECT_EQ(SiteBefore("other", 5555, sites.Places()), "annex") << "not enabled itself";
    EXPECT_EQ(SiteBefore("hall", 6000, sites.Places()), "apart");
    std::filesystem::remove(std::filesystem::path(sites.Places().folder) / "hall.json");
    EXPECT_EQ(SiteBefore("yard", 5555, sites.Places()), "annex") << "enabled at the same time";
    EXPECT_EQ(SiteBefore("annex", 5555, sites.Places()), std::nullopt);
}

TEST(SitePortsTest, MustNotBeThoseOfAnotherSite) {
    const SiteFolder sites;
    sites.Add("annex");
    sites.Add("apart", "MUX_PORT=6000");
    sites.Add("hall");
    const PortComparison ports({"annex", "apart", "hall"}, sites.Places());
    ConfigurationReport apart = {true, 1, 1, {}};
    ports.AddFindings("apart", apart);
    EXPECT_TRUE(apart.isUsable);
    EXPECT_TRUE(apart.findings.empty());
    ConfigurationReport hall = {true, 1, 1, {}};
    ports.AddFindings("hall", hall);
    EXPECT_FALSE(hall.isUsable);
    ASSERT_EQ(hall.findings.size(), 1U);
    EXPECT_EQ(hall.findings.front().where, "MUX_PORT");
    EXPECT_EQ(hall.findings.front().text,
              "is 5555, as for the site annex; only the one that was enabled first is started");
}

}  // namespace
}  // namespace Muxctl
