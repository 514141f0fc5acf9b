// What bash offers behind a half-written command line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/muxctl/HelpText.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

using testing::UnorderedElementsAre;

const std::set<std::string> kCommon = {"--host", "--port", "--site",    "--config", "--tls", "--ca",
                                       "--cert", "--key",  "--timeout", "--json",   "--help"};

// Completes the words that it is given and prints what is offered for the last one.
const std::string kScript = std::string("source ") + MUXCTL_COMPLETION +
                            "; _muxctl_sites=$SITES; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _muxctl; "
                            "printf '%s\\n' \"${COMPREPLY[@]}\"";

// What is offered for the last of these words, which may be empty.
std::set<std::string> Offers(const Words& words, const std::string& sites = "/dev/null") {
    ProcessSetup setup;
    setup.variables = {{"SITES", sites}};
    RunningProgram bash(Words{"bash", "-c", kScript, "bash", MUXCTL_PROGRAM} + words, setup);
    EXPECT_EQ(bash.WaitForExit(), 0);
    EXPECT_EQ(bash.ErrorOutput(), "");
    const Words lines = bash.Lines();
    std::set<std::string> offers(lines.begin(), lines.end());
    offers.erase("");
    return offers;
}

TEST(CompletionTest, KnowsEveryCommandAndItsOptions) {
    const std::set<std::string> first = Offers({""});
    std::set<std::string> firstWords = kCommon;
    firstWords.insert("--version");
    EXPECT_EQ(firstWords, OptionsOf({}));
    for (const Words& command : Commands()) {
        firstWords.insert(command.front());
        std::set<std::string> options = OptionsOf(command);
        options.insert(kCommon.begin(), kCommon.end());
        EXPECT_EQ(Offers(command + Words{"--"}), options) << testing::PrintToString(command);
    }
    EXPECT_EQ(first, firstWords);
}

TEST(CompletionTest, OffersWhatBeginsAsTheWordDoes) {
    EXPECT_THAT(Offers({"acc"}), UnorderedElementsAre("access-denied"));
    EXPECT_THAT(Offers({"open", "--g"}), UnorderedElementsAre("--gateway"));
    EXPECT_THAT(Offers({"--port", "5555", "--json", "whitelist", "en"}), UnorderedElementsAre("enable"));
}

TEST(CompletionTest, OffersFilesWhereAFileStands) {
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("mux file.json", "");
    const std::string start = (folder.Path() / "mux").string();
    EXPECT_THAT(Offers({"check-config", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"--config", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"open", "--cert", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"--ca", "authority.crt", "acc"}), UnorderedElementsAre("access-denied"));
    EXPECT_THAT(Offers({"send", "--file", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"batch", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"whitelist", "load", "--clear", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"check-config", "--j"}), UnorderedElementsAre("--json"));
}

TEST(CompletionTest, OffersTheNamesOfSitesGatewaysAndLocks) {
    const Testing::TemporaryFolder folder;
    const std::string sites = folder.Path().string();
    const std::string file = folder.Write("hall.json", R"({"Gateways":[{"ID":1,"Description":"Main hall","Devices":[
        {"Name":"Front door","ID":5},{"Name":"Fence","ID":-6},{"ID":7},{"Name":"Back door","ID":8}]}]})");
    folder.Write("yard.json", "");
    folder.Write("hall.env", "");
    EXPECT_THAT(Offers({"open", "--site", ""}, sites), UnorderedElementsAre("hall", "yard"));
    EXPECT_THAT(Offers({"-s", "h"}, sites), UnorderedElementsAre("hall"));
    EXPECT_THAT(Offers({"open", "--config", file, "F"}), UnorderedElementsAre("Front door", "Fence"));
    EXPECT_THAT(Offers({"-c", file, "status", "\"Front d"}), UnorderedElementsAre("Front door"));
    EXPECT_THAT(Offers({"whitelist", "clear", "-c", file, "Back\\ d"}), UnorderedElementsAre("Back door"));
    EXPECT_THAT(Offers({"open", "-c", file, "--gateway", "M"}), UnorderedElementsAre("Main hall"));
    EXPECT_THAT(Offers({"open", "-c", file, "--lock", "F"}), UnorderedElementsAre("Front door", "Fence"));
    EXPECT_THAT(Offers({"open", "F"}), UnorderedElementsAre());
}

}  // namespace
}  // namespace Muxctl
