#pragma once

#include <functional>
#include <string>
#include <thread>

namespace Simulator {

// Reads lines from a descriptor on a thread of its own until its end, whatever it is: terminal, pipe or file. Leaves a
// terminal alone as long as this process is in its background.
class LineReader {
  public:
    // Calls `line` on that thread for every line, without its end; also for a last line that has none. The
    // descriptor remains the caller's. Throws std::system_error when there is no room for a thread or wake-up.
    LineReader(int descriptor, std::function<void(const std::string& line)> line);
    // Stops at once, also in the midst of waiting; a line that is not complete is dropped.
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

  private:
    void Read();
    bool WaitForInput() const;
    void Split(bool isEnd);

    int descriptor_;
    int wake_;
    std::function<void(const std::string& line)> line_;
    std::string pending_;
    std::thread thread_;
};

}  // namespace Simulator
