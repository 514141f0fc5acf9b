#include "benchmarks/micro/LogOutput.h"

#include <fcntl.h>
#include <plog/Init.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#include "diagnostics/LogOutputs.h"

namespace Benchmark {
namespace {

constexpr std::size_t kLogFileBytes = 10000;
constexpr int kLogFiles = 10;

// Removed when the program ends.
class Folder {
  public:
    Folder() {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& Path() const { return path_; }

  private:
    std::string path_ = (std::filesystem::temp_directory_path() / "micro-benchmarks-XXXXXX").string();
};

Diagnostics::LogOutputs& Outputs() {
    static const Folder folder;
    static Diagnostics::LogOutputs outputs(false);
    static const bool hasFile = [] {
        outputs.AddFile(folder.Path() + "/mux.log", kLogFileBytes, kLogFiles);
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
