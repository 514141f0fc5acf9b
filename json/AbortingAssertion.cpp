#include "json/Assertion.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string>

namespace Json {
namespace {

constexpr int kMillisecondsToWait = 1000;

}  // namespace

void FailedAssertion(const char* condition, const char* file, int line) {
    const std::string text =
        std::string(file) + ":" + std::to_string(line) + ": Assertion `" + condition + "' failed.\n";
    // A terminal or a pipe that nobody reads must not keep the process from ending.
    pollfd asked = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&asked, 1, kMillisecondsToWait) > 0) {
        const ssize_t written = write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        static_cast<void>(written);
    }
    std::abort();
}

}  // namespace Json
