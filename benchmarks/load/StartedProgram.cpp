#include "benchmarks/load/StartedProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <system_error>

namespace Load {

StartedProgram::StartedProgram(const std::vector<std::string>& command) {
    if (command.empty()) {
        throw std::invalid_argument("no program to start");
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions = {};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const int error = posix_spawn(&process_, arguments.front(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), command.front());
    }
}

StartedProgram::~StartedProgram() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

}  // namespace Load
