#pragma once

#include <sys/types.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace Testing {

// A program under test with its standard streams in our hands. Killed when it is still there at the end.
//
// For one thread.
class ChildProcess {
  public:
    explicit ChildProcess(const std::vector<std::string>& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Write(const std::string& text) const;
    void CloseInput();

    // Reads standard output and standard error until `text` has come; false when the deadline passes or the
    // program ends first.
    bool WaitForOutput(const std::string& text, std::chrono::milliseconds deadline = std::chrono::seconds(20));
    // The rest of the first line with `text` in it, once it is complete; empty when the deadline passes or the program
    // ends first.
    std::string WaitForLineWith(const std::string& text, std::chrono::milliseconds deadline = std::chrono::seconds(20));
    // All that has been read so far.
    const std::string& Output() const { return output_; }

    void Signal(int number) const;
    // The numbers of the signals that are blocked, for each of the program's threads.
    std::vector<std::set<int>> BlockedSignals() const;
    // The exit status, or -1 when a signal ended it or the deadline passes first. Reads the rest of the output.
    int WaitForExit(std::chrono::milliseconds deadline = std::chrono::seconds(20));

  private:
    bool ReadOutput(std::chrono::steady_clock::time_point end);

    pid_t process_ = -1;
    int input_ = -1;
    int outputEnd_ = -1;
    std::string output_;
};

}  // namespace Testing
