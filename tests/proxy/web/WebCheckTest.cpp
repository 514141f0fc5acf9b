#include "proxy/web/WebCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/proxy/web/WebAccessKit.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// A site whose proxy has a certificate, and a page as its section is read.
class WebCheck : public testing::Test {
  protected:
    WebCheck() {
        Run({CERTIFICATES_SCRIPT, File(""), "server", "localhost"});
        configuration_.certificates = {File("server.crt"), File("server.key"), File("authority.crt"), ""};
        Web().certificate = configuration_.certificates.certificate;
        Web().key = configuration_.certificates.key;
        Rule rule;
        rule.clients = {"reception", "anna"};
        configuration_.rules = {rule};
    }

    static void Run(const std::vector<std::string>& command) {
        const Testing::Ending ending = Testing::RunToEnd(command);
        ASSERT_EQ(ending.status, 0) << ending.error;
    }

    std::string File(const std::string& name) const { return (folder_.Path() / name).string(); }
    WebSettings& Web() { return configuration_.web ? *configuration_.web : configuration_.web.emplace(); }

    void WriteUsers(const std::string& text) {
        Web().users = File("users");
        std::ofstream(File("users")) << text;
        std::filesystem::permissions(File("users"), std::filesystem::perms(0640));
    }

    std::vector<std::string> Findings() const {
        std::vector<std::string> texts;
        for (const Finding& finding : CheckWeb(configuration_)) {
            texts.push_back(FindingText("f", finding));
        }
        return texts;
    }

    Testing::TemporaryFolder folder_;
    Configuration configuration_;
};

TEST_F(WebCheck, FindsNothingWhereNothingIsWrong) {
    EXPECT_THAT(Findings(), IsEmpty());
    WriteUsers("anna:" + kHash);
    EXPECT_THAT(Findings(), IsEmpty());
    configuration_.web.reset();
    EXPECT_THAT(Findings(), IsEmpty());
}

TEST_F(WebCheck, LooksIntoTheCertificateOfThePage) {
    Run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
         File("page.key"), "-out", File("page.crt"), "-subj", "/CN=page", "-days", "10"});
    Web().certificate = File("page.crt");
    EXPECT_THAT(Findings(), ElementsAre(StartsWith("f: error: Web: ")));
    Web().key = File("page.key");
    EXPECT_THAT(Findings(),
                ElementsAre(testing::MatchesRegex("f: warning: the certificate .*/page\\.crt ends in (9|10) days")));
    Web().certificate = File("missing.crt");
    EXPECT_THAT(Findings(), ElementsAre(StartsWith("f: error: Web: ")));
}

TEST_F(WebCheck, LooksIntoTheUsers) {
    WriteUsers("anna:" + kHash + "\notto:" + kHash);
    EXPECT_THAT(Findings(), ElementsAre("f: warning: Web: no rule names otto, a user in " + File("users")));
    WriteUsers("anna:" + kHash + "\notto\n");
    EXPECT_THAT(Findings(), ElementsAre(StartsWith("f: error: Web: " + File("users") + ": line 2: must be NAME:")));
    Web().users = File("missing");
    EXPECT_THAT(Findings(),
                ElementsAre("f: error: Web: " + File("missing") + ": cannot be read: No such file or directory"));
}

TEST_F(WebCheck, WarnsOfHashesThatEverybodyCanRead) {
    WriteUsers("anna:" + kHash);
    std::filesystem::permissions(File("users"), std::filesystem::perms(0644));
    EXPECT_THAT(Findings(),
                ElementsAre("f: warning: Web: every user of this host can read " + File("users") + ": chmod o-r"));
}

}  // namespace
}  // namespace MuxProxy
