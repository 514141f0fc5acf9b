#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/ChildOutput.h"

namespace SystemTest {

// How long a test waits for what must happen. Only a failing test waits that long; sanitizers and a loaded machine
// make everything slower.
constexpr std::chrono::seconds kDeadline{60};

// The program itself, running in a folder of its own, with its console output collected.
//
// A process that still runs at the end is asked to end with SIGQUIT and must do so with status 0. In a sanitizer
// build the test fails when the program had something reported.
class MuxProcess {
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
                        ChildOutput::Console console = ChildOutput::Console::kPipe,
                        const Descriptors& descriptors = {0, 0});
    ~MuxProcess();
    MuxProcess(const MuxProcess&) = delete;
    MuxProcess& operator=(const MuxProcess&) = delete;

    pid_t Id() const { return process_; }
    // Its working directory.
    const Testing::TemporaryFolder& Folder() const { return folder_; }

    ChildOutput& Console() { return output_; }
    // Standard output so far: all log lines, from the first one on.
    std::string Output() const { return output_.Text(ChildOutput::Stream::kOutput); }
    std::string ErrorOutput() const { return output_.Text(ChildOutput::Stream::kError); }
    // Standard output in lines, without their ends.
    std::vector<std::string> Lines() const;

    // How many lines of standard output hold `text`.
    std::size_t Count(const std::string& text) const;
    // Waits for at least `times` lines that hold `text`; false when the deadline or the process's end comes first.
    bool WaitFor(const std::string& text, std::size_t times = 1) const;

    void Signal(int number) const;

    // Waits for the end and says how it came: "status 255", "signal 15", or "still running" after the deadline.
    std::string WaitForEnd();
    bool IsRunning();
    // Whether every thread was stopped by a signal.
    bool IsStopped() const;

    // TCP ports (of IPv4) that the process listens on.
    std::vector<std::uint16_t> ListeningPorts() const;

  private:
    void Start(const std::vector<std::string>& arguments, const Environment& environment,
               const Descriptors& descriptors);
    // Takes the exit status if there is one.
    void TryToReap();
    void CheckSanitizerReports() const;

    Testing::TemporaryFolder folder_;
    ChildOutput output_;
    pid_t process_ = -1;
    // Empty as long as the process runs.
    std::string ending_;
};

}  // namespace SystemTest
