#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ProcessOutput.h"

namespace Testing {

// How long a test waits for a process. Only a failing test waits that long; sanitizers and a loaded machine make
// everything slower.
constexpr std::chrono::seconds kProcessDeadline{60};

// What a process is started with.
struct ProcessSetup {
    // On top of this process's variables, or in place of them.
    std::vector<std::pair<std::string, std::string>> variables = {};
    // The text on standard input. Without one it is Write() that fills it; on a terminal it is then that terminal, and
    // the process's own (its controlling terminal).
    std::optional<std::string> input = std::string();
    Console console = Console::kPipe;
    // The size of a terminal; 0 for one that is not known.
    unsigned short rows = 0;
    unsigned short columns = 0;
    // Whether standard error goes where standard output goes.
    bool mergesError = false;
    // Empty for the folder of this process.
    std::filesystem::path folder = {};
    // So many descriptors are open in the process behind the standard three; this process must be allowed as many.
    int inheritedDescriptors = 0;
};

// A started process with its standard streams in our hands. Killed when it is still there at the end, also when this
// process, or the thread that made the object, ends without that.
//
// For one thread.
class Process {
  public:
    // The first word is the program, looked for as a shell would. A program starts with no signal ignored or blocked.
    // Throws std::system_error when there is no such program.
    explicit Process(const std::vector<std::string>& command, const ProcessSetup& setup = {});
    // A forked child that runs `body`, which must not return. Call it while this process has no other thread.
    explicit Process(const std::function<void()>& body, const ProcessSetup& setup = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return process_; }

    // What was written so far.
    std::string Output() const { return output_.Text(ProcessOutput::Stream::kOutput); }
    std::string ErrorOutput() const { return output_.Text(ProcessOutput::Stream::kError); }
    // Output() in lines, without their ends.
    std::vector<std::string> Lines() const;

    // Wait until `text` is there; false when the deadline or the end of the output comes first.
    bool WaitForOutput(const std::string& text) const;
    bool WaitForErrorOutput(const std::string& text) const;
    // The same for a text behind all that this call waited for before.
    bool WaitForNext(const std::string& text);
    // The rest of the first line with `text` in it, once it is complete; empty when it does not come.
    std::string WaitForLineWith(const std::string& text) const;
    // Waits for the end of all output.
    bool WaitForEndOfOutput(std::chrono::milliseconds deadline = kProcessDeadline) const;

    // Writes to standard input: types, on a terminal.
    void Write(const std::string& text) const;
    void CloseInput();
    // Leaves standard output unread for a while, and goes on reading it.
    void StopReading() { output_.StopReading(); }
    void ReadOn() { output_.ReadOn(); }
    // Closes our end of standard output, as when a terminal's window is closed.
    void HangUp() { output_.HangUp(); }
    // Our end of the terminal.
    int Terminal() const { return output_.ReadEnd(); }

    void Signal(int number) const;
    // The numbers of the signals that are blocked, for each of the process's threads.
    std::vector<std::set<int>> BlockedSignals() const;
    // Whether every thread was stopped by a signal.
    bool IsStopped() const;

    bool IsRunning();
    // Waits for the end and says how it came: "status 255", "signal 15", or "still running" after the deadline.
    std::string WaitForEnd();
    // Waits for the end; the exit status, or -1 when a signal ended the process or it does not end.
    int WaitForExit();

  private:
    void Start(const std::function<void()>& body, const ProcessSetup& setup);
    bool WaitFor(ProcessOutput::Stream stream, const std::string& text, std::size_t from) const;
    // The wait status once there is one.
    std::optional<int> Status();
    // The same, waited for, with all output read.
    std::optional<int> FinalStatus();

    ProcessOutput output_;
    int input_ = -1;
    pid_t process_ = -1;
    std::optional<int> status_;
    std::size_t seen_ = 0;
};

// What a program that has come to its end left behind.
struct Ending {
    int status = -1;
    std::string output;
    std::string error;
};

// Runs a program to its end.
Ending RunToEnd(const std::vector<std::string>& command, const ProcessSetup& setup = {});

}  // namespace Testing
