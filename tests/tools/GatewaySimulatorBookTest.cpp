// What is said of the program elsewhere: in its book, its manual page and its completion.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "tests/docs/support/Book.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using Documents::Book;
using Documents::Example;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::Process;
using Testing::ProcessSetup;
using testing::UnorderedElementsAre;
using Words = std::vector<std::string>;

const Book& SimulatorBook() {
    static const Book book("simulator.md");
    return book;
}

// The output of a program that runs to its end, what is typed given at once.
std::string OutputOf(const Words& command, const std::string& input = "") {
    ProcessSetup setup;
    setup.input = input;
    setup.mergesError = true;
    Process program(command, setup);
    EXPECT_EQ(program.WaitForExit(), 0);
    return program.Output();
}

std::set<std::string> OptionsOfHelp() {
    const std::string help = OutputOf({GATEWAY_SIMULATOR_PATH, "--help"});
    const std::regex option("(?:^|\n)  (?:-h,)?(--[a-z-]+)");
    std::set<std::string> options;
    for (std::sregex_iterator found(help.begin(), help.end(), option); found != std::sregex_iterator(); ++found) {
        options.insert(found->str(1));
    }
    return options;
}

// What bash offers for the last of these words.
std::set<std::string> Offers(const Words& words) {
    Words command = {"/bin/bash", "-c",
                     std::string("source ") + SIMULATOR_COMPLETION +
                         "; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _gateway_simulator; "
                         "printf '%s\\n' \"${COMPREPLY[@]}\"",
                     "bash", "gateway-simulator"};
    command.insert(command.end(), words.begin(), words.end());
    std::istringstream output(OutputOf(command));
    std::set<std::string> offers;
    for (std::string line; std::getline(output, line);) {
        offers.insert(line);
    }
    offers.erase("");
    return offers;
}

// On whichever ports are free.
std::string WithFreePorts(const std::string& text) {
    return std::regex_replace(text, std::regex("\"Port\": [0-9]+"), "\"Port\": 0");
}

TEST(GatewaySimulatorBookTest, ItsFilesAreTaken) {
    const std::vector<Example> examples = SimulatorBook().OfKind("simulator");
    EXPECT_FALSE(examples.empty());
    for (const Example& example : examples) {
        const Testing::TemporaryFolder folder;
        const std::string file = folder.Write("site.json", WithFreePorts(example.text));
        EXPECT_THAT(OutputOf({GATEWAY_SIMULATOR_PATH, "--gateways", file}, "gateways\nlocks\nquit\n"),
                    HasSubstr("2 locks, Hall\n"));
    }
}

TEST(GatewaySimulatorBookTest, ItsBadFilesAreRefusedInItsWords) {
    const std::vector<Example> examples = SimulatorBook().OfKind("bad-simulator");
    EXPECT_FALSE(examples.empty());
    for (const Example& example : examples) {
        const Testing::TemporaryFolder folder;
        const std::string file = folder.Write("site.json", example.text);
        Process program({GATEWAY_SIMULATOR_PATH, "--gateways", file});
        EXPECT_EQ(program.WaitForExit(), 64) << example.name;
        const Example* const message = SimulatorBook().Find("message", example.name);
        ASSERT_NE(message, nullptr) << example.name;
        EXPECT_EQ(program.ErrorOutput(), "gateway-simulator: " + file + ": " + message->text + "\n");
    }
}

TEST(GatewaySimulatorBookTest, ItsWhitelistsAreRead) {
    const std::vector<Example> examples = SimulatorBook().OfKind("whitelists");
    ASSERT_EQ(examples.size(), 1U);
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("cards.json", examples.front().text);
    EXPECT_THAT(OutputOf({GATEWAY_SIMULATOR_PATH, "--port", "0", "--whitelist-file", file}, "cards 5\nquit\n"),
                HasSubstr("1 cards\n  04A1B2C3 setup 0 option 1\n"));
}

TEST(GatewaySimulatorManualTest, NamesEveryOption) {
    std::ifstream file(SIMULATOR_MANUAL);
    const Words words{std::istream_iterator<std::string>(file), std::istream_iterator<std::string>()};
    const std::set<std::string> options = OptionsOfHelp();
    EXPECT_EQ(options.size(), 12U);
    for (const std::string& option : options) {
        // With one dash, behind the macro that puts the other.
        EXPECT_THAT(words, Contains(option.substr(1)));
    }
}

TEST(GatewaySimulatorCompletionTest, KnowsEveryOption) {
    EXPECT_EQ(Offers({""}), OptionsOfHelp());
    EXPECT_THAT(Offers({"--locks", "5", "--ca"}), UnorderedElementsAre("--capacity"));
}

TEST(GatewaySimulatorCompletionTest, OffersFilesWhereAFileStands) {
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("hall site.json", "");
    for (const char* const option : {"--gateways", "--whitelist-file", "--script"}) {
        EXPECT_THAT(Offers({option, (folder.Path() / "hall").string()}), ElementsAre(file)) << option;
    }
}

}  // namespace
