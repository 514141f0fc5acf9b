// The manual page tells of all that the program can do.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/tools/muxctl/HelpText.h"

namespace Muxctl {
namespace {

using testing::Contains;

// The page's words; an option stands in it with one dash, behind the macro that puts the other.
std::vector<std::string> WordsOfManual() {
    std::ifstream file(MUXCTL_MANUAL);
    return {std::istream_iterator<std::string>(file), std::istream_iterator<std::string>()};
}

TEST(ManualTest, NamesEveryCommandAndOption) {
    const std::vector<std::string> words = WordsOfManual();
    const std::vector<std::vector<std::string>> commands = Commands();
    EXPECT_EQ(commands.size(), 22U);
    std::set<std::string> options = OptionsOf({});
    for (const std::vector<std::string>& command : commands) {
        EXPECT_THAT(words, Contains(command.back()));
        options.merge(OptionsOf(command));
    }
    EXPECT_EQ(options.size(), 34U);
    for (const std::string& option : options) {
        EXPECT_THAT(words, Contains(option.substr(1)));
    }
}

}  // namespace
}  // namespace Muxctl
