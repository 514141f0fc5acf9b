#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace Testing {

// What a child process finds as its standard output.
enum class Console { kNothing, kPipe, kTerminal };

// Collects what a child process writes to its standard output and standard error, on a thread of its own.
//
// Any thread may call anything, but for StartReading() and HangUp().
class ProcessOutput {
  public:
    enum class Stream { kOutput = 0, kError = 1 };

    explicit ProcessOutput(Console console);
    ~ProcessOutput();
    ProcessOutput(const ProcessOutput&) = delete;
    ProcessOutput& operator=(const ProcessOutput&) = delete;

    // The descriptor for the child to write to.
    int WriteEnd(Stream stream) const;
    // Our end of standard output: a terminal's takes what is typed.
    int ReadEnd() const { return pipes_[0].readEnd; }
    // To be called when the child has its descriptors: without ours closed the end would never come.
    void StartReading();

    // Leaves standard output unread until ReadOn. A pipe then takes no more than some pages.
    void StopReading();
    void ReadOn() { paused_ = false; }
    // Closes our end of standard output, as when a terminal's window is closed. Nothing is read any more.
    void HangUp();

    // All that was written so far.
    std::string Text(Stream stream) const;
    // Whether nobody holds a write end any more and all was read.
    bool IsComplete() const;

  private:
    struct Pipe {
        int readEnd = -1;
        int writeEnd = -1;
        std::string text;
    };

    void Read();
    bool ReadFrom(Pipe& pipe);
    void EndReading();

    mutable std::mutex mutex_;
    std::array<Pipe, 2> pipes_;
    int stopReadEnd_ = -1;
    int stopWriteEnd_ = -1;
    bool complete_ = false;
    std::atomic<bool> paused_{false};
    std::thread reader_;
};

}  // namespace Testing
