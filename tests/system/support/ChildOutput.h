#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace SystemTest {

// Collects what a child process writes to its standard output and standard error, on a thread of its own.
//
// Any thread may call anything.
class ChildOutput {
  public:
    enum class Stream { kOutput = 0, kError = 1 };
    // What the child finds as its standard output.
    enum class Console { kPipe, kTerminal };

    explicit ChildOutput(Console console);
    ~ChildOutput();
    ChildOutput(const ChildOutput&) = delete;
    ChildOutput& operator=(const ChildOutput&) = delete;

    // The descriptor for the child to write to.
    int WriteEnd(Stream stream) const;
    // To be called when the child has its descriptors: without ours closed the end would never come.
    void StartReading();

    // Leaves standard output unread until ReadOn. A pipe then takes no more than some pages.
    void StopReading();
    void ReadOn();
    // Types a text on the terminal.
    void Type(const std::string& text) const;

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

    mutable std::mutex mutex_;
    std::array<Pipe, 2> pipes_;
    int stopReadEnd_ = -1;
    int stopWriteEnd_ = -1;
    bool complete_ = false;
    std::atomic<bool> paused_{false};
    std::thread reader_;
};

}  // namespace SystemTest
