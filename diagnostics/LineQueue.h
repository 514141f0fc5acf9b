#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace Diagnostics {

// Lines that wait to be taken, in their order. The first may be taken in parts, and leaves with its last byte.
//
// For one thread at a time.
class LineQueue {
  public:
    bool IsEmpty() const { return lines_.empty(); }

    // Without memory for the line, nothing changes.
    void Append(std::string line);

    // What is not yet taken of the first line, of which there must be one. Valid until the queue changes.
    std::string_view Rest() const;

    // So many bytes of the rest are taken.
    void Take(std::size_t bytes);

    // Nothing of the first line counts as taken any more.
    void RestartLine() { offset_ = 0; }

    // The size of all lines that wait, that of the first with what is taken of it.
    std::size_t Bytes() const { return bytes_; }

    // The most that Bytes() has been since this was asked last.
    std::size_t TakeMostBytes();

    // How many lines have come, and how many of them have left, from the beginning on.
    std::uint64_t LinesAppended() const { return linesAppended_; }
    std::uint64_t LinesTaken() const { return linesTaken_; }

  private:
    std::deque<std::string> lines_;
    std::size_t offset_ = 0;  // how much of the first line is taken
    std::size_t bytes_ = 0;
    std::size_t mostBytes_ = 0;
    std::uint64_t linesAppended_ = 0;
    std::uint64_t linesTaken_ = 0;
};

}  // namespace Diagnostics
