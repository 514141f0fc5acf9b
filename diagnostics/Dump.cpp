#include "diagnostics/Dump.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <array>
#include <cctype>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <string_view>

#include "diagnostics/Log.h"

namespace Diagnostics {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kUuidTextSize = 37;

// Never freed: a crash may come while the process already ends.
std::string& DumpName() {
    static auto* name = new std::string("mux");
    return *name;
}

// The name becomes a word of a shell command.
std::string AsShellWord(std::string name) {
    for (char& character : name) {
        const bool isPlain = std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' ||
                             character == '_' || character == '.';
        character = isPlain ? character : '_';
    }
    return name;
}

std::string NewUuid() {
    uuid_t uuid;
    std::array<char, kUuidTextSize> text{};
    uuid_generate(uuid);
    uuid_unparse_lower(uuid, text.data());
    return text.data();
}

constexpr milliseconds kStep{100};
constexpr const char* kStatusFile = "/proc/self/status";
constexpr std::string_view kTracerField = "TracerPid:\t";

// The watch runs in the copy of a process whose allocator may be locked for ever, so nothing of it allocates.

void Pause() {
    const timespec step = {0, std::chrono::nanoseconds(kStep).count()};
    nanosleep(&step, nullptr);
}

// The process that traces the one whose status file this is; 0 for none.
pid_t TracerIn(int statusFile) {
    std::array<char, 4096> buffer = {};
    const ssize_t count = pread(statusFile, buffer.data(), buffer.size(), 0);
    const std::string_view status(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    const std::size_t field = status.find(kTracerField);
    pid_t tracer = 0;
    if (field != std::string_view::npos) {
        std::from_chars(status.data() + field + kTracerField.size(), status.data() + status.size(), tracer);
    }
    return tracer;
}

// The copy holds every socket of the process and would keep connections and the listening port open.
void KeepOnly(int descriptor) {
    const auto kept = static_cast<unsigned>(descriptor);
    if (kept > 0) {
        close_range(0, kept - 1, 0);
    }
    close_range(kept + 1, std::numeric_limits<unsigned>::max(), 0);
}

[[noreturn]] void Watch(pid_t watched, int statusFile, milliseconds limit) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    KeepOnly(statusFile);
    for (milliseconds waited{0}; getppid() == watched; waited += kStep) {
        const pid_t tracer = waited < limit ? 0 : TracerIn(statusFile);
        if (tracer > 0) {
            kill(tracer, SIGKILL);
        }
        Pause();
    }
    _exit(0);
}

constexpr int kMaximumFrames = 500;
using Frames = std::array<void*, kMaximumFrames>;

void LogAddresses(const Frames& frames, int count) {
    MUX_LOG(plog::error) << "Backtrace symbols are not available";
    MUX_LOG(plog::error) << "Backtrace (frames) starts here";
    for (int index = 0; index < count; ++index) {
        MUX_LOG(plog::error) << frames.at(static_cast<std::size_t>(index));
    }
}

void LogSymbols(char** symbols, int count) {
    MUX_LOG(plog::error) << "Backtrace (frames) with symbols starts here";
    for (int index = 0; index < count; ++index) {
        MUX_LOG(plog::error) << (symbols[index] != nullptr ? symbols[index] : "<NULL>");
    }
}

}  // namespace

void SetDumpName(const std::string& programPath) {
    const std::string baseName = programPath.substr(programPath.find_last_of('/') + 1);
    DumpName() = AsShellWord(baseName) + "-" + NewUuid();
}

std::string DumpCommand() {
    return "gcore -o " + DumpName() + ".dump " + std::to_string(getpid());
}

void SaveDumpFile() {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Running gcore for save current core dump.";
    MUX_LOG(plog::info) << "Command line:" << DumpCommand();
    RunDumpCommand();
}

void RunDumpCommand() {
    // Where the kernel lets only a parent trace a process, gcore, our grandchild, needs leave to do so.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the command is ours, its only variable word is filtered
    const int status = std::system(DumpCommand().c_str());
    static_cast<void>(status);
}

void StartDumpWatch(std::chrono::seconds limit) {
    const pid_t watched = getpid();
    // Opened here, where it is our own: it stays so in the copy.
    const int statusFile = open(kStatusFile, O_RDONLY | O_CLOEXEC);
    // Not fork(), which would wait for the locks of the allocator.
    if (statusFile != -1 && _Fork() == 0) {
        Watch(watched, statusFile, limit);
    }
    close(statusFile);
}

void PrepareBacktrace() {
    void* frame = nullptr;
    backtrace(&frame, 1);
}

void LogBacktrace() {
    MUX_OPERATION();
    MUX_LOG(plog::error) << "Obtaining stack trace for current SIG.";
    Frames frames{};
    const int count = backtrace(frames.data(), kMaximumFrames);
    if (count == kMaximumFrames) {
        MUX_LOG(plog::error) << "Backtrace may have been truncated to current max value of" << kMaximumFrames;
    }
    const std::unique_ptr<char*, decltype(&std::free)> symbols(backtrace_symbols(frames.data(), count), &std::free);
    if (symbols == nullptr) {
        LogAddresses(frames, count);
    } else {
        LogSymbols(symbols.get(), count);
    }
}

}  // namespace Diagnostics
