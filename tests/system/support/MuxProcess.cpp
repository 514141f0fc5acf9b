#include "tests/system/support/MuxProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "tests/support/ChildVariables.h"
#include "tests/support/RecordedLog.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/ListeningSockets.h"
#include "tests/system/support/Sanitized.h"

namespace SystemTest {
namespace {

constexpr const char* kSanitizerMarks[] = {"ThreadSanitizer", "AddressSanitizer", "LeakSanitizer", "runtime error:"};

void Check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

std::vector<std::string> VariablesFor(const MuxProcess::Environment& environment) {
    const char* const own = std::getenv("TSAN_OPTIONS");  // NOLINT(concurrency-mt-unsafe)
    MuxProcess::Environment variables = {
        {"TSAN_OPTIONS", std::string(own == nullptr ? "" : own) + " " + kThreadSanitizerOptions}};
    variables.insert(variables.end(), environment.begin(), environment.end());
    return Testing::VariablesWith(variables);
}

// What the child does with itself between its birth and the program.
class Preparation {
  public:
    Preparation(const std::string& folder, int output, int error, int inheritedDescriptors) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        Check(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0), "addopen");
        Check(posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO), "adddup2");
        Check(posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO), "adddup2");
        // A socket of the gateway simulator that lived on in the Mux would keep its port or its connection open.
        Check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1), "addclosefrom_np");
        for (int descriptor = STDERR_FILENO + 1; descriptor <= STDERR_FILENO + inheritedDescriptors; ++descriptor) {
            Check(posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, descriptor), "adddup2");
        }
        Check(posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str()), "addchdir_np");
        ResetSignals();
    }
    ~Preparation() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;

    const posix_spawn_file_actions_t* Actions() const { return &actions_; }
    const posix_spawnattr_t* Attributes() const { return &attributes_; }

  private:
    // A shell may have the test ignore signals, and the program would inherit that.
    void ResetSignals() {
        sigset_t signals;
        sigfillset(&signals);
        Check(posix_spawnattr_setsigdefault(&attributes_, &signals), "setsigdefault");
        sigemptyset(&signals);
        Check(posix_spawnattr_setsigmask(&attributes_, &signals), "setsigmask");
        Check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK), "setflags");
    }

    posix_spawn_file_actions_t actions_ = {};
    posix_spawnattr_t attributes_ = {};
};

// The program, or a shell that becomes the program when it has lowered its own limit.
std::vector<std::string> CommandWith(int allowedDescriptors) {
    if (allowedDescriptors == 0) {
        return {MUX_PROGRAM};
    }
    return {"/bin/sh", "-c", "ulimit -n " + std::to_string(allowedDescriptors) + R"( && exec "$0" "$@")", MUX_PROGRAM};
}

std::string Describe(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? "signal " + std::to_string(WTERMSIG(waitStatus))
                                   : "status " + std::to_string(WEXITSTATUS(waitStatus));
}

}  // namespace

MuxProcess::MuxProcess(const std::vector<std::string>& arguments, const Environment& environment,
                       ChildOutput::Console console, const Descriptors& descriptors)
    : output_(console) {
    Start(arguments, environment, descriptors);
}

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

void MuxProcess::Start(const std::vector<std::string>& arguments, const Environment& environment,
                       const Descriptors& descriptors) {
    std::vector<std::string> words = CommandWith(descriptors.allowed);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = VariablesFor(environment);
    const Preparation preparation(folder_.Path().string(), output_.WriteEnd(ChildOutput::Stream::kOutput),
                                  output_.WriteEnd(ChildOutput::Stream::kError), descriptors.inherited);
    Check(posix_spawn(&process_, words.front().c_str(), preparation.Actions(), preparation.Attributes(),
                      Testing::PointersTo(words).data(), Testing::PointersTo(variables).data()),
          "posix_spawn");
    output_.StartReading();
}

std::vector<std::string> MuxProcess::Lines() const {
    std::istringstream output(Output());
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::size_t MuxProcess::Count(const std::string& text) const {
    const std::vector<std::string> lines = Lines();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

bool MuxProcess::WaitFor(const std::string& text, std::size_t times) const {
    const auto isThereOrNeverWillBe = [&] { return Count(text) >= times || output_.IsComplete(); };
    Testing::WaitUntil(isThereOrNeverWillBe, kDeadline);
    return Count(text) >= times;
}

void MuxProcess::Signal(int number) const {
    // A process that was reaped has no ID any more, and its number may be another's.
    if (ending_.empty()) {
        kill(process_, number);
    }
}

void MuxProcess::TryToReap() {
    int status = 0;
    if (ending_.empty() && waitpid(process_, &status, WNOHANG) == process_) {
        ending_ = Describe(status);
    }
}

bool MuxProcess::IsRunning() {
    TryToReap();
    return ending_.empty();
}

bool MuxProcess::IsStopped() const {
    namespace fs = std::filesystem;
    const fs::directory_iterator threads("/proc/" + std::to_string(process_) + "/task");
    return std::all_of(begin(threads), end(threads), [](const fs::directory_entry& thread) {
        std::ifstream file(thread.path() / "stat");
        const std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        // The state is the letter behind the name in parentheses.
        return stat.find(") T ") != std::string::npos;
    });
}

std::string MuxProcess::WaitForEnd() {
    Testing::WaitUntil([&] { return !IsRunning(); }, kDeadline);
    if (ending_.empty()) {
        return "still running";
    }
    Testing::WaitUntil([&] { return output_.IsComplete(); }, std::chrono::seconds(5));
    return ending_;
}

std::vector<std::uint16_t> MuxProcess::ListeningPorts() const {
    return ListeningPortsOf(process_);
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
