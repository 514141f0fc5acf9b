#include "tools/gateway-simulator/Console.h"

#include <iomanip>
#include <sstream>

#include "tools/gateway-simulator/ConsoleCommand.h"
#include "tools/gateway-simulator/FaultNames.h"
#include "tools/gateway-simulator/UnknownWord.h"

namespace Simulator {
namespace {

Action ParseHelp(Arguments& /*arguments*/) {
    return [](GatewaySimulator&) { return CommandHelp(); };
}

std::vector<ConsoleCommand> AllCommands() {
    std::vector<ConsoleCommand> all;
    for (const auto& subject : {EventCommands(), LockSettingCommands(), ConnectionCommands(), FaultCommands()}) {
        all.insert(all.end(), subject.begin(), subject.end());
    }
    all.push_back({"help", "", "Show this list", ParseHelp});
    return all;
}

const std::vector<ConsoleCommand>& Commands() {
    static const std::vector<ConsoleCommand> commands = AllCommands();
    return commands;
}

const ConsoleCommand& FindCommand(const std::string& name, const std::vector<std::string_view>& others) {
    std::vector<std::string_view> known = others;
    for (const ConsoleCommand& command : Commands()) {
        if (command.name == name) {
            return command;
        }
        known.emplace_back(command.name);
    }
    throw UnknownWord("command", name, known);
}

std::string Join(const std::string& name, const std::string& usage) {
    return usage.empty() ? name : name + " " + usage;
}

}  // namespace

Action ParseCommand(std::string_view line, const std::vector<std::string_view>& others) {
    Arguments arguments(line);
    if (arguments.IsEmpty()) {
        return Silent([](GatewaySimulator&) {});
    }
    const std::string word = arguments.Word("COMMAND");
    const ConsoleCommand& command = FindCommand(word, others);
    try {
        Action action = command.parse(arguments);
        arguments.End();
        return action;
    } catch (const CommandError& error) {
        throw CommandError(Join(command.name, command.usage) + ": " + error.what());
    }
}

std::string Execute(GatewaySimulator& gateway, std::string_view line) {
    try {
        const std::string output = ParseCommand(line)(gateway);
        if (!output.empty()) {
            gateway.Notice(output);
        }
        return "";
    } catch (const CommandError& error) {
        return error.what();
    }
}

std::string CommandHelp() {
    std::ostringstream help;
    for (const ConsoleCommand& command : Commands()) {
        const std::string usage = Join(command.name, command.usage);
        help << "  " << std::left << std::setw(30) << usage << (usage.size() < 30 ? " " : "\n" + std::string(33, ' '))
             << command.help << '\n';
    }
    help << "\nFaults, for the next answer, for COUNT answers or always, for all locks or one.\n"
            "Faults of different kinds combine.\n"
         << FaultHelp();
    return help.str();
}

void RequireLock(bool known, std::uint32_t address) {
    if (!known) {
        throw CommandError("unknown lock " + std::to_string(address));
    }
}

void RequireConnection(bool sent) {
    if (!sent) {
        throw CommandError("not connected");
    }
}

}  // namespace Simulator
