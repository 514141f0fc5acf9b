#include "mux/ProcessSetUp.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>

#include "diagnostics/SignalHandler.h"

namespace Mux {
namespace {

// The deepest that a thread goes is some 10 KiB, a name look-up or a crash report some 64. The usual 8 MiB are only
// addresses, but the threads of two hundred gateways would use up all that a 32-bit process has. Less than this leaves
// no room for the thread-local data of ThreadSanitizer.
constexpr std::size_t kStackBytes = 1024UL * 1024;

// Each thread allocates so rarely that it waits for no other, and an arena of its own would keep at least 8 KiB.
constexpr int kArenas = 1;

constexpr int kSignals[] = {SIGQUIT, SIGHUP, SIGKILL, SIGABRT, SIGSEGV, SIGBUS};

}  // namespace

void KeepFootprintSmall() {
    mallopt(M_ARENA_MAX, kArenas);  // NOLINT(concurrency-mt-unsafe): there is no other thread yet
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackBytes);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
}

void OccupyStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor != -1 && descriptor <= STDERR_FILENO);
    if (descriptor != -1) {
        close(descriptor);
    }
}

void AllowAllDescriptors() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void RegisterSignalHandlers() {
    struct sigaction action = {};
    action.sa_handler = Diagnostics::SignalHandler;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : kSignals) {
        sigaddset(&action.sa_mask, signalNumber);
        sigaction(signalNumber, &action, nullptr);
    }
}

}  // namespace Mux
