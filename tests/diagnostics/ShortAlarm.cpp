#include "tests/diagnostics/ShortAlarm.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

namespace Testing {
namespace {

std::atomic<long> milliseconds{100};
std::atomic<void (*)()> hookAt5Seconds{nullptr};

}  // namespace

void LetAlarmsTake(std::chrono::seconds time) {
    milliseconds = std::chrono::milliseconds(time).count();
}

void CallAtNextAlarmOf5Seconds(void (*hook)()) {
    hookAt5Seconds = hook;
}

}  // namespace Testing

extern "C" unsigned alarm(unsigned seconds) noexcept {
    void (*const hook)() = seconds == 5 ? Testing::hookAt5Seconds.exchange(nullptr) : nullptr;
    if (hook != nullptr) {
        hook();
    }
    const std::string_view text = seconds == 5 ? "5 seconds\n" : seconds == 60 ? "60 seconds\n" : "another time\n";
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    const long time = Testing::milliseconds;
    const itimerval soon = {{0, 0}, {time / 1000, time % 1000 * 1000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    return written < 0 ? 1 : 0;
}
