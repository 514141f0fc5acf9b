#include "tests/support/Process.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

constexpr int kNoSuchProgram = 127;

int Checked(const char* name, int result) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return result;
}

std::vector<std::string> OwnVariables() {
    char** end = environ;
    while (*end != nullptr) {
        ++end;
    }
    return {environ, end};
}

// This process's variables as "NAME=value", with each of the others on top of them or in place of one of its name.
std::vector<std::string> VariablesWith(const std::vector<std::pair<std::string, std::string>>& others) {
    std::vector<std::string> variables = OwnVariables();
    for (const auto& [name, value] : others) {
        const std::string start = name + "=";
        const auto isOfThatName = [&](const std::string& variable) {
            return variable.compare(0, start.size(), start) == 0;
        };
        variables.erase(std::remove_if(variables.begin(), variables.end(), isOfThatName), variables.end());
        variables.push_back(start + value);
    }
    return variables;
}

// Pointers to the texts with a null behind them, as the system takes them.
std::vector<char*> PointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers(texts.size());
    std::transform(texts.begin(), texts.end(), pointers.begin(), [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

// The descriptors that become a child's standard streams, and our end of its input where there is one.
struct Streams {
    int input = -1;
    int inputWriteEnd = -1;
    int output = -1;
    int error = -1;
    bool isOwnTerminal = false;
};

// A file in memory with the text, to be read from its start.
int OpenText(const std::string& text) {
    const int file = Checked("memfd_create", memfd_create("input", MFD_CLOEXEC));
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

Streams OpenStreams(const ProcessOutput& output, const ProcessSetup& setup) {
    Streams streams;
    streams.output = output.WriteEnd(ProcessOutput::Stream::kOutput);
    streams.error = setup.mergesError ? streams.output : output.WriteEnd(ProcessOutput::Stream::kError);
    if (setup.input) {
        streams.input = OpenText(*setup.input);
    } else if (setup.console == Console::kTerminal) {
        streams.input = Checked("dup", fcntl(streams.output, F_DUPFD_CLOEXEC, 0));
        streams.isOwnTerminal = true;
        const winsize window = {setup.rows, setup.columns, 0, 0};
        ioctl(streams.input, TIOCSWINSZ, &window);
    } else {
        std::array<int, 2> ends = {};
        Checked("pipe2", pipe2(ends.data(), O_CLOEXEC));
        streams.input = ends[0];
        streams.inputWriteEnd = ends[1];
    }
    return streams;
}

// From here on the child, which may call nothing that takes a lock.

// A test that is killed, by CTest's time limit for instance, takes its children along.
void DieWithParent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(kNoSuchProgram);
    }
}

void TakeStreams(const Streams& streams) {
    dup2(streams.input, STDIN_FILENO);
    dup2(streams.output, STDOUT_FILENO);
    dup2(streams.error, STDERR_FILENO);
    if (streams.isOwnTerminal) {
        setsid();
        ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    }
}

// A shell may have the test ignore signals, and the program would inherit that.
void ResetSignals() {
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, &standard, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// A socket of the test that lived on in the program would keep its port or its connection open.
void SetDescriptors(int inherited) {
    closefrom(STDERR_FILENO + 1);
    for (int descriptor = STDERR_FILENO + 1; descriptor <= STDERR_FILENO + inherited; ++descriptor) {
        dup2(STDIN_FILENO, descriptor);
    }
}

std::set<int> NumbersIn(std::uint64_t mask) {
    std::set<int> numbers;
    for (int bit = 0; bit < 64; ++bit) {
        if ((mask >> bit & 1U) != 0) {
            numbers.insert(bit + 1);
        }
    }
    return numbers;
}

std::vector<std::filesystem::path> ThreadsOf(pid_t process) {
    const std::filesystem::directory_iterator threads("/proc/" + std::to_string(process) + "/task");
    return {begin(threads), end(threads)};
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const ProcessSetup& setup) : output_(setup.console) {
    std::vector<std::string> words = command;
    std::vector<std::string> variables = VariablesWith(setup.variables);
    const std::vector<char*> arguments = PointersTo(words);
    const std::vector<char*> environment = PointersTo(variables);
    if (words.front().find('/') != std::string::npos) {
        Checked(words.front().c_str(), access(words.front().c_str(), X_OK));
    }
    const auto become = [&] {
        ResetSignals();
        SetDescriptors(setup.inheritedDescriptors);
        execvpe(arguments.front(), arguments.data(), environment.data());
    };
    Start(become, setup);
}

Process::Process(const std::function<void()>& body, const ProcessSetup& setup) : output_(setup.console) {
    Start(body, setup);
}

Process::~Process() {
    if (IsRunning()) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    CloseInput();
}

void Process::Start(const std::function<void()>& body, const ProcessSetup& setup) {
    const Streams streams = OpenStreams(output_, setup);
    input_ = streams.inputWriteEnd;
    const pid_t parent = getpid();
    process_ = Checked("fork", fork());
    if (process_ == 0) {
        DieWithParent(parent);
        TakeStreams(streams);
        if (!setup.folder.empty() && chdir(setup.folder.c_str()) != 0) {
            _exit(kNoSuchProgram);
        }
        body();
        _exit(kNoSuchProgram);
    }
    close(streams.input);
    output_.StartReading();
}

std::vector<std::string> Process::Lines() const {
    std::istringstream output(Output());
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool Process::WaitFor(ProcessOutput::Stream stream, const std::string& text, std::size_t from) const {
    const auto isThere = [&] { return output_.Text(stream).find(text, from) != std::string::npos; };
    WaitUntil([&] { return isThere() || output_.IsComplete(); }, kProcessDeadline);
    return isThere();
}

bool Process::WaitForOutput(const std::string& text) const {
    return WaitFor(ProcessOutput::Stream::kOutput, text, 0);
}

bool Process::WaitForErrorOutput(const std::string& text) const {
    return WaitFor(ProcessOutput::Stream::kError, text, 0);
}

bool Process::WaitForNext(const std::string& text) {
    if (!WaitFor(ProcessOutput::Stream::kOutput, text, seen_)) {
        return false;
    }
    seen_ = Output().find(text, seen_) + text.size();
    return true;
}

std::string Process::WaitForLineWith(const std::string& text) const {
    std::string rest;
    const auto isComplete = [&] {
        const std::string output = Output();
        const std::size_t found = output.find(text);
        const std::size_t start = found == std::string::npos ? output.size() : found + text.size();
        const std::size_t end = output.find('\n', start);
        rest = end == std::string::npos ? "" : output.substr(start, end - start);
        return end != std::string::npos;
    };
    WaitUntil([&] { return isComplete() || output_.IsComplete(); }, kProcessDeadline);
    isComplete();
    return rest;
}

bool Process::WaitForEndOfOutput(std::chrono::milliseconds deadline) const {
    return WaitUntil([&] { return output_.IsComplete(); }, deadline);
}

void Process::Write(const std::string& text) const {
    const int descriptor = input_ == -1 ? Terminal() : input_;
    if (write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
}

void Process::CloseInput() {
    if (input_ != -1) {
        close(std::exchange(input_, -1));
    }
}

void Process::Signal(int number) const {
    // A process that was reaped has no ID any more, and its number may be another's.
    if (!status_) {
        kill(process_, number);
    }
}

std::vector<std::set<int>> Process::BlockedSignals() const {
    std::vector<std::set<int>> threads;
    for (const std::filesystem::path& thread : ThreadsOf(process_)) {
        std::ifstream status(thread / "status");
        std::string word;
        while (status >> word && word != "SigBlk:") {
        }
        std::uint64_t mask = 0;
        status >> std::hex >> mask;
        threads.push_back(NumbersIn(mask));
    }
    return threads;
}

bool Process::IsStopped() const {
    const std::vector<std::filesystem::path> threads = ThreadsOf(process_);
    return std::all_of(threads.begin(), threads.end(), [](const std::filesystem::path& thread) {
        std::ifstream file(thread / "stat");
        const std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        // The state is the letter behind the name in parentheses.
        return stat.find(") T ") != std::string::npos;
    });
}

std::optional<int> Process::Status() {
    int status = 0;
    if (!status_ && waitpid(process_, &status, WNOHANG) == process_) {
        status_ = status;
    }
    return status_;
}

std::optional<int> Process::FinalStatus() {
    if (WaitUntil([&] { return Status().has_value(); }, kProcessDeadline)) {
        // What it started may hold the output open for longer.
        WaitForEndOfOutput(std::chrono::seconds(5));
    }
    return status_;
}

bool Process::IsRunning() {
    return !Status();
}

std::string Process::WaitForEnd() {
    const std::optional<int> status = FinalStatus();
    if (!status) {
        return "still running";
    }
    return WIFSIGNALED(*status) ? "signal " + std::to_string(WTERMSIG(*status))
                                : "status " + std::to_string(WEXITSTATUS(*status));
}

int Process::WaitForExit() {
    const std::optional<int> status = FinalStatus();
    return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

Ending RunToEnd(const std::vector<std::string>& command, const ProcessSetup& setup) {
    Process program(command, setup);
    const int status = program.WaitForExit();
    return {status, program.Output(), program.ErrorOutput()};
}

}  // namespace Testing
