// What bash offers behind a half-written command line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/muxctl/HelpText.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

using testing::UnorderedElementsAre;
using Words = std::vector<std::string>;

const std::set<std::string> kCommon = {"--host", "--port", "--timeout", "--json", "--help"};

// Completes the words that it is given and prints what is offered for the last one.
const std::string kScript = std::string("source ") + MUXCTL_COMPLETION +
                            "; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _muxctl; "
                            "printf '%s\\n' \"${COMPREPLY[@]}\"";

// What is offered for the last of these words, which may be empty.
std::set<std::string> Offers(const Words& words) {
    Words command = {"bash", "-c", kScript, "bash", "muxctl"};
    command.insert(command.end(), words.begin(), words.end());
    const Ending ending = RunToEnd(command);
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    std::istringstream output(ending.output);
    std::set<std::string> offers;
    for (std::string line; std::getline(output, line);) {
        offers.insert(line);
    }
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
        Words words = command;
        words.emplace_back("--");
        EXPECT_EQ(Offers(words), options) << testing::PrintToString(command);
    }
    EXPECT_EQ(first, firstWords);
}

TEST(CompletionTest, OffersWhatBeginsAsTheWordDoes) {
    EXPECT_THAT(Offers({"acc"}), UnorderedElementsAre("access-denied", "access-allowed"));
    EXPECT_THAT(Offers({"open", "--g"}), UnorderedElementsAre("--gateway"));
    EXPECT_THAT(Offers({"--port", "5555", "--json", "whitelist", "en"}), UnorderedElementsAre("enable"));
}

TEST(CompletionTest, OffersFilesWhereAFileStands) {
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("mux file.json", "");
    const std::string start = (folder.Path() / "mux").string();
    EXPECT_THAT(Offers({"check-config", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"configure", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"send", "--file", start}), UnorderedElementsAre(file));
    EXPECT_THAT(Offers({"check-config", "--j"}), UnorderedElementsAre("--json"));
}

}  // namespace
}  // namespace Muxctl
