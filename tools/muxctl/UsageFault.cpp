#include "tools/muxctl/UsageFault.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/muxctl/NearestWord.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using Views = std::vector<std::string_view>;

// Requests of the protocol that can never succeed, and have no command for that reason.
struct UselessCommand {
    // Of the command that it would belong to.
    const char* parent;
    const char* name;
    const char* reason;
};

constexpr const char* kNoReading =
    "the Mux refuses to read a whitelist, because no gateway can do it; keep the file that you load";

constexpr std::array kUselessCommands = {
    UselessCommand{"muxctl", "access-allowed", "the Mux refuses this request, because no gateway can do it"},
    UselessCommand{"muxctl", "configure", "the Mux ignores configuration messages; start it with --configFile"},
    UselessCommand{"whitelist", "get", kNoReading},
    UselessCommand{"whitelist", "list", kNoReading},
    UselessCommand{"whitelist", "show", kNoReading},
};

// "--" in front of a long option, "-" in front of a short one.
std::string_view WithoutDashes(std::string_view word) {
    word.remove_prefix(std::min(word.find_first_not_of('-'), word.size()));
    return word;
}

bool IsOption(std::string_view word) {
    return word.size() > 1 && word.front() == '-';
}

// The first word that was not understood; empty if there is none.
std::string UnknownWordIn(const CLI::App& app) {
    const std::vector<std::string> words = app.remaining(true);
    const auto found = std::find_if(words.begin(), words.end(), [](const std::string& word) { return word != "--"; });
    return found == words.end() ? "" : *found;
}

const CLI::App& CalledCommand(const CLI::App& app) {
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    return *command;
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

Views NamesOfCommands(const CLI::App& app) {
    Views names;
    for (const CLI::App* command : CommandsOf(app)) {
        names.emplace_back(command->get_name());
    }
    return names;
}

// The long options that a command takes, its own first.
Views OptionsOf(const CLI::App& command) {
    Views names;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            names.insert(names.end(), option->get_lnames().begin(), option->get_lnames().end());
        }
    }
    return names;
}

std::string Quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::string UnknownOption(const CLI::App& command, const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    const std::string_view nearest = NearestWord(WithoutDashes(name), OptionsOf(command));
    return "unknown option " + name + (nearest.empty() ? "" : "; did you mean --" + std::string(nearest) + "?");
}

// As in "-lock", which the parser takes for -l with the value "ock"; empty if there is none.
std::string OptionWithOneDash(const CLI::App& command, const std::vector<std::string>& words) {
    const Views options = OptionsOf(command);
    for (const std::string& word : words) {
        std::string name = word.substr(0, word.find('='));
        const bool hasOneDash = name.size() > 2 && name[0] == '-' && name[1] != '-';
        if (hasOneDash && std::find(options.begin(), options.end(), WithoutDashes(name)) != options.end()) {
            return name;
        }
    }
    return "";
}

std::string UnknownCommand(const CLI::App& app, const std::string& word) {
    const auto useless = std::find_if(
        kUselessCommands.begin(), kUselessCommands.end(),
        [&](const UselessCommand& command) { return word == command.name && app.get_name() == command.parent; });
    if (useless != kUselessCommands.end()) {
        return Quoted(word) + " is not supported: " + useless->reason;
    }
    const std::string_view nearest = NearestWord(word, NamesOfCommands(app));
    return "unknown command " + Quoted(word) + (nearest.empty() ? "" : "; did you mean " + Quoted(nearest) + "?");
}

std::string UnknownWord(const CLI::App& command, const std::string& word) {
    if (IsOption(word)) {
        return UnknownOption(command, word);
    }
    return CommandsOf(command).empty() ? "unexpected argument " + Quoted(word) : UnknownCommand(command, word);
}

std::string MissingCommand(const CLI::App& app) {
    std::string names;
    for (const std::string_view name : NamesOfCommands(app)) {
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return app.get_name() + " requires a command: " + names;
}

}  // namespace

std::string UsageFault(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& words) {
    const CLI::App& command = CalledCommand(app);
    const std::string oneDash = OptionWithOneDash(command, words);
    if (!oneDash.empty()) {
        return "unknown option " + oneDash + "; did you mean -" + oneDash + "?";
    }
    const std::string unknown = UnknownWordIn(app);
    if (!unknown.empty()) {
        return UnknownWord(command, unknown);
    }
    const bool lacksCommand =
        dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !CommandsOf(command).empty();
    return lacksCommand ? MissingCommand(command) : error.what();
}

std::string CalledCommandName(const CLI::App& app) {
    const CLI::App* command = &CalledCommand(app);
    std::string name = command->get_name();
    while ((command = command->get_parent()) != nullptr) {
        name.insert(0, command->get_name() + " ");
    }
    return name;
}

std::string HelpOfCommand(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    std::string name = app.get_name();
    for (const std::string& word : words) {
        const std::vector<const CLI::App*> commands = CommandsOf(*command);
        const auto found = std::find_if(commands.begin(), commands.end(),
                                        [&](const CLI::App* candidate) { return candidate->get_name() == word; });
        if (found == commands.end()) {
            throw UsageError(UnknownWord(*command, word));
        }
        command = *found;
        name += " " + word;
    }
    return command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
}

}  // namespace Muxctl
