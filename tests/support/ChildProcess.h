#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/ProcessOutput.h"

namespace Testing {

// What a child process left behind.
struct ChildResult {
    int exitStatus = -1;  // -1 when a signal ended it or it had to be killed at the deadline
    std::string output;   // standard output and standard error, in the order in which they came

    std::vector<std::string> OutputLines() const;

    // Whether the texts occur in the output, each behind the one before.
    bool HasInOrder(const std::vector<std::string>& texts) const;
};

// The exit status of a child whose body came to its end.
constexpr int kBodyReturned = 77;

using ChildOutput = Console;

// Runs `body` in a forked child with `directory` as its working directory, for what ends the process or may happen
// only once in it, and waits until the child and all that it started have closed the output. Call it while the test has
// no other thread.
ChildResult RunInChild(const std::filesystem::path& directory, const std::function<void()>& body,
                       ChildOutput output = ChildOutput::kPipe,
                       std::chrono::milliseconds deadline = std::chrono::seconds(60));

}  // namespace Testing
