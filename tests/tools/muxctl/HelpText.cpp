#include "tests/tools/muxctl/HelpText.h"

#include <gtest/gtest.h>

#include <iterator>
#include <regex>

#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

std::string HelpOf(const Words& command) {
    const Ending ending = RunMuxctl(command + Words{"--help"});
    EXPECT_EQ(ending.status, 0);
    return ending.output;
}

// What the expression's group catches, all through the text.
std::vector<std::string> AllIn(const std::string& text, const std::string& expression) {
    const std::regex regex(expression, std::regex::ECMAScript | std::regex::multiline);
    const std::sregex_iterator begin(text.begin(), text.end(), regex);
    std::vector<std::string> found;
    std::transform(begin, std::sregex_iterator(), std::back_inserter(found),
                   [](const std::smatch& match) { return match.str(1); });
    return found;
}

std::vector<std::string> SubcommandsOf(const std::vector<std::string>& command) {
    const std::string help = HelpOf(command);
    const std::size_t start = help.find("\nSubcommands:\n");
    return start == std::string::npos
               ? std::vector<std::string>()
               : AllIn(help.substr(start, help.find("\n\n", start + 1) - start), "^  ([a-z][a-z-]*)");
}

}  // namespace

std::vector<std::vector<std::string>> Commands() {
    std::vector<std::vector<std::string>> commands;
    for (const std::string& name : SubcommandsOf({})) {
        const std::vector<std::string> second = SubcommandsOf({name});
        for (const std::string& word : second) {
            commands.push_back({name, word});
        }
        if (second.empty()) {
            commands.push_back({name});
        }
    }
    return commands;
}

std::set<std::string> OptionsOf(const std::vector<std::string>& command) {
    const std::vector<std::string> options = AllIn(HelpOf(command), "^  (?:-[A-Za-z],)?(--[a-z-]+)");
    return {options.begin(), options.end()};
}

}  // namespace Muxctl
