#include "tests/support/SignalStorm.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <system_error>

namespace Testing {
namespace {

std::atomic<int> handledSignals{0};

extern "C" void CountSignal(int) {
    ++handledSignals;
}

}  // namespace

SignalStorm::SignalStorm() {
    struct sigaction action = {};
    action.sa_handler = CountSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, nullptr);
    handledSignals = 0;
    thread_ = std::thread([this] {
        while (!stopped_) {
            InterruptAll();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
}

SignalStorm::~SignalStorm() {
    stopped_ = true;
    thread_.join();
}

int SignalStorm::Handled() const {
    return handledSignals;
}

void SignalStorm::InterruptAll() const {
    const long self = syscall(SYS_gettid);
    std::error_code ended;  // a thread may end while the list is read
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ended)) {
        const long thread = std::stol(task.path().filename());
        if (thread != self) {
            syscall(SYS_tgkill, getpid(), thread, SIGUSR1);
        }
    }
}

}  // namespace Testing
