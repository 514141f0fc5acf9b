#include "tests/system/support/MuxProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include "tests/support/RecordedLog.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/ListeningSockets.h"
#include "tests/system/support/Sanitized.h"

namespace SystemTest {
namespace {

constexpr const char* kSanitizerMarks[] = {"ThreadSanitizer", "AddressSanitizer", "LeakSanitizer", "runtime error:"};

Testing::ProcessSetup SetupOf(const std::filesystem::path& folder, const MuxProcess::Environment& environment,
                              Console console, int inheritedDescriptors) {
    const char* const own = std::getenv("TSAN_OPTIONS");  // NOLINT(concurrency-mt-unsafe)
    Testing::ProcessSetup setup;
    setup.variables = {{"TSAN_OPTIONS", std::string(own == nullptr ? "" : own) + " " + kThreadSanitizerOptions}};
    setup.variables.insert(setup.variables.end(), environment.begin(), environment.end());
    setup.console = console;
    setup.folder = folder;
    setup.inheritedDescriptors = inheritedDescriptors;
    return setup;
}

// The program, or a shell that becomes the program when it has lowered its own limit.
std::vector<std::string> CommandWith(int allowedDescriptors, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {MUX_PROGRAM};
    if (allowedDescriptors != 0) {
        words = {"/bin/sh", "-c", "ulimit -n " + std::to_string(allowedDescriptors) + R"( && exec "$0" "$@")",
                 MUX_PROGRAM};
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

}  // namespace

std::vector<std::string> ListeningOn(const Testing::ReservedPort& port, const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"--port", "--port=" + std::to_string(port.Number())};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

MuxProcess::MuxProcess(const std::vector<std::string>& arguments, const Environment& environment, Console console,
                       const Descriptors& descriptors)
    : Process(CommandWith(descriptors.allowed, arguments),
              SetupOf(folder.Path(), environment, console, descriptors.inherited)) {}

MuxProcess::~MuxProcess() {
    if (IsRunning()) {
        Signal(SIGQUIT);
        EXPECT_EQ(WaitForEnd(), "status 0") << "at the end of the test";
    }
    if (IsRunning()) {
        Signal(SIGKILL);
        WaitForEnd();
    }
    CheckSanitizerReports();
    Testing::RecordLog(Testing::LogOrigin::kProcess, Output());
    if (testing::Test::HasFailure()) {
        std::cout << "Standard output of the Mux:\n" << Output() << "Standard error:\n" << ErrorOutput();
    }
}

std::size_t MuxProcess::Count(const std::string& text) const {
    const std::vector<std::string> lines = Lines();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

bool MuxProcess::WaitFor(const std::string& text, std::size_t times) const {
    const auto isThereOrNeverWillBe = [&] {
        return Count(text) >= times || WaitForEndOfOutput(std::chrono::milliseconds(0));
    };
    Testing::WaitUntil(isThereOrNeverWillBe, kDeadline);
    return Count(text) >= times;
}

std::vector<std::uint16_t> MuxProcess::ListeningPorts() const {
    return ListeningPortsOf(Id());
}

void MuxProcess::CheckSanitizerReports() const {
    const std::string error = ErrorOutput();
    for (const char* const mark : kSanitizerMarks) {
        if (error.find(mark) != std::string::npos) {
            ADD_FAILURE() << "A sanitizer reported on the Mux:\n" << error;
            return;
        }
    }
}

}  // namespace SystemTest
