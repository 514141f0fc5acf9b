#include "benchmarks/micro/LogOutput.h"

#include <fcntl.h>
#include <plog/Init.h>
#include <unistd.h>

#include <iostream>

#include "diagnostics/LogOutputs.h"
#include "tests/support/TemporaryFolder.h"

namespace Benchmark {
namespace {

constexpr std::size_t kLogFileBytes = 10000;
constexpr int kLogFiles = 10;

Diagnostics::LogOutputs& Outputs() {
    static const Testing::TemporaryFolder folder;
    static Diagnostics::LogOutputs outputs(false);
    static const bool hasFile = [] {
        outputs.AddFile((folder.Path() / "mux.log").string(), kLogFileBytes, kLogFiles);
        return true;
    }();
    static_cast<void>(hasFile);
    return outputs;
}

// Returns a second descriptor of what was standard output before.
int HideStandardOutput() {
    std::cout.flush();
    const int before = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return before;
}

}  // namespace

void FilterLogOut() {
    plog::init(plog::none, &Outputs()).setMaxSeverity(plog::none);
}

LogOutput::LogOutput(plog::Severity maximumSeverity) : standardOutput_(HideStandardOutput()) {
    plog::get()->setMaxSeverity(maximumSeverity);
}

LogOutput::~LogOutput() {
    plog::get()->setMaxSeverity(plog::none);
    std::cout.flush();
    dup2(standardOutput_, STDOUT_FILENO);
    close(standardOutput_);
}

}  // namespace Benchmark
