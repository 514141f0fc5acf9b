#include "tests/support/ChildProcess.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <sstream>

#include "tests/support/Process.h"
#include "tests/support/RecordedLog.h"

#ifdef MUX_COVERAGE
extern "C" void __gcov_dump();
#endif

namespace Testing {

std::vector<std::string> ChildResult::OutputLines() const {
    std::vector<std::string> lines;
    std::istringstream text(output);
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool ChildResult::HasInOrder(const std::vector<std::string>& texts) const {
    std::size_t position = 0;
    for (const std::string& text : texts) {
        position = output.find(text, position);
        if (position == std::string::npos) {
            return false;
        }
        position += text.size();
    }
    return true;
}

ChildResult RunInChild(const std::filesystem::path& directory, const std::function<void()>& body, ChildOutput output,
                       std::chrono::milliseconds deadline) {
    ProcessSetup setup;
    setup.console = output;
    setup.mergesError = true;
    setup.folder = directory;
    std::fflush(nullptr);
    const auto runAndLeave = [&] {
        body();
        std::fflush(nullptr);
#ifdef MUX_COVERAGE
        __gcov_dump();
#endif
        _exit(kBodyReturned);
    };
    Process child(runAndLeave, setup);
    if (!child.WaitForEndOfOutput(deadline)) {
        child.Signal(SIGKILL);
    }
    const int status = child.WaitForExit();
    RecordLog(LogOrigin::kUnit, child.Output());
    return {status, child.Output()};
}

}  // namespace Testing
