#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"

namespace SystemTest {

using Testing::Console;

constexpr std::chrono::seconds kDeadline = Testing::kProcessDeadline;

// The arguments with which the Mux listens on this port, and further ones.
std::vector<std::string> ListeningOn(const Testing::ReservedPort& port, const std::vector<std::string>& more = {});

// The folder outlives the process.
struct OwnFolder {
    Testing::TemporaryFolder folder;
};

// The program itself, running in a folder of its own, with its console output collected.
//
// A process that still runs at the end is asked to end with SIGQUIT and must do so with status 0. In a sanitizer
// build the test fails when the program had something reported.
class MuxProcess : private OwnFolder, public Testing::Process {
  public:
    // Variables on top of those of the test, or in place of them.
    using Environment = std::vector<std::pair<std::string, std::string>>;

    struct Descriptors {
        // Open in the process, behind the standard three, when it starts; this process must be allowed as many.
        int inherited = 0;
        // What it is allowed at most; 0 for as many as this process.
        int allowed = 0;
    };

    explicit MuxProcess(const std::vector<std::string>& arguments, const Environment& environment = {},
                        Console console = Console::kPipe, const Descriptors& descriptors = {0, 0});
    ~MuxProcess();
    MuxProcess(const MuxProcess&) = delete;
    MuxProcess& operator=(const MuxProcess&) = delete;

    // Its working directory.
    const Testing::TemporaryFolder& Folder() const { return folder; }

    // How many lines of standard output, which are all log lines from the first one on, hold `text`.
    std::size_t Count(const std::string& text) const;
    // Waits for at least `times` lines that hold `text`; false when the deadline or the process's end comes first.
    bool WaitFor(const std::string& text, std::size_t times = 1) const;

    // TCP ports (of IPv4) that the process listens on.
    std::vector<std::uint16_t> ListeningPorts() const;

  private:
    void CheckSanitizerReports() const;
};

}  // namespace SystemTest
