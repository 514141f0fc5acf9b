#pragma once

#include <plog/Severity.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Testing {

// Collects the lines that the program logs, at every severity, from its construction to its destruction.
// One at a time; lines may come from any thread.
class CapturedLog {
  public:
    using Line = std::pair<plog::Severity, std::string>;

    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    // All lines so far, oldest first, with the function signature in front as the log has it.
    std::vector<Line> Lines() const;

    // Those behind the first `count`.
    std::vector<Line> LinesBehind(std::size_t count) const;

    // How many lines of this severity end in exactly `text`, preceded by the blank that follows the signature.
    int Count(plog::Severity severity, const std::string& text) const;

    // Whether a line of this severity holds `text` anywhere.
    bool Holds(plog::Severity severity, const std::string& text) const;

    // Waits until Holds() is true; false when `deadline` passes first.
    bool WaitFor(plog::Severity severity, const std::string& text,
                 std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;

    // Everything in one text, for failure messages.
    std::string Text() const;
};

}  // namespace Testing
