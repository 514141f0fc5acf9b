#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "proxy/audit/AuditCommand.h"
#include "proxy/services/Service.h"

namespace MuxProxy {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 64;

// The program with these arguments, and its exit status; complains on the standard error output. `kit` is null for the
// program without services. For the main thread.
int RunProgram(int argumentCount, char** arguments, const ServiceKit* kit);

// The program's commands and options. For one thread.
class Commands {
  public:
    // Adds them to `app`, which outlives this object. `arguments` are those of the process.
    Commands(CLI::App& app, char** arguments, const ServiceKit* kit);
    Commands(const Commands&) = delete;
    Commands& operator=(const Commands&) = delete;

    // Runs what the parsed command line asks for, and returns the exit status. Throws std::exception with a text for
    // people.
    int Run();

  private:
    // Becomes the program with services if the file needs them and this one has none.
    void TakeServices() const;
    void BecomeServices() const;
    int Serve();
    int Check();
    int PrintRights();
    int ChangeUser();

    char** const arguments_;
    const ServiceKit* const kit_;
    std::string file_;
    std::string client_;
    bool onlyChecks_ = false;
    CLI::App* rights_ = nullptr;
    CLI::App* user_ = nullptr;
    std::string userName_;
    bool isUserToGo_ = false;
    AuditCommand audit_;
};

}  // namespace MuxProxy
