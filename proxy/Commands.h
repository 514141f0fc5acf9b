#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "proxy/audit/AuditCommand.h"

namespace MuxProxy {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 64;

// The program's commands and options. For one thread.
class Commands {
  public:
    // Adds them to `app`, which outlives this object.
    explicit Commands(CLI::App& app);
    Commands(const Commands&) = delete;
    Commands& operator=(const Commands&) = delete;

    // Runs what the parsed command line asks for, and returns the exit status. Throws std::exception with a text for
    // people.
    int Run();

  private:
    int Serve();
    int Check();
    int PrintRights();

    std::string file_;
    std::string client_;
    bool onlyChecks_ = false;
    CLI::App* rights_ = nullptr;
    AuditCommand audit_;
};

}  // namespace MuxProxy
