#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/Arguments.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/Console.h"

namespace Simulator {

// A row in the table of console commands.
struct ConsoleCommand {
    const char* name;
    // The words that follow the name, for help and for the text of an error.
    const char* usage;
    const char* help;
    // Takes the words that follow the name and makes of them what is to be done; throws CommandError.
    Action (*parse)(Arguments& arguments);
};

// The table, by subject and in the order of the help. Each subject is a file.
std::vector<ConsoleCommand> EventCommands();
std::vector<ConsoleCommand> ConnectionCommands();
std::vector<ConsoleCommand> FaultCommands();
std::vector<ConsoleCommand> LockSettingCommands();

// No command of the console takes longer than an hour.
constexpr std::uint32_t kLongestDuration = 3'600'000;

// Throws CommandError unless the lock is known.
void RequireLock(bool known, std::uint32_t address);
// Throws CommandError unless there was a connection to send on.
void RequireConnection(bool sent);

// An action without output.
template <typename Work>
Action Silent(Work work) {
    return [work](GatewaySimulator& gateway) {
        work(gateway);
        return std::string();
    };
}

}  // namespace Simulator
