#include "benchmarks/load/Waiting.h"

#include <stdexcept>
#include <thread>

#include "benchmarks/load/Clock.h"

namespace Load {
namespace {

constexpr std::chrono::milliseconds kPause{10};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error("not in time: " + what);
}

}  // namespace

void RunUntil(asio::io_context& loop, const std::function<bool()>& condition, const std::string& what,
              std::chrono::nanoseconds patience) {
    const Clock::time_point end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() >= end) {
            Fail(what);
        }
        loop.restart();
        loop.run_one_until(end);
    }
}

void RunFor(asio::io_context& loop, std::chrono::nanoseconds duration) {
    loop.restart();
    loop.run_for(duration);
}

void WaitUntil(const std::function<bool()>& condition, const std::string& what) {
    const Clock::time_point end = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() >= end) {
            Fail(what);
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace Load
