#include "diagnostics/DumpWatch.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <csignal>
#include <ctime>
#include <limits>
#include <string_view>

namespace Diagnostics {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStep{100};
constexpr const char* kStatusFile = "/proc/self/status";
constexpr std::string_view kTracerField = "TracerPid:\t";

// Everything here runs in the copy of a process whose allocator may be locked for ever, so nothing allocates.

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

}  // namespace

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

}  // namespace Diagnostics
