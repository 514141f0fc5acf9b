#include "benchmarks/load/Waiting.h"

#include <stdexcept>
#include <thread>

#include "benchmarks/load/Clock.h"

namespace Load {
namespace {

constexpr std::chrono::milliseconds kStep{10};

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

// A timer, because the loop's own run_for ends at whole milliseconds only, in step with a server's passes.
void RunFor(asio::io_context& loop, std::chrono::nanoseconds duration) {
    asio::steady_timer timer(loop, duration);
    bool isOver = false;
    timer.async_wait([&isOver](const asio::error_code&) { isOver = true; });
    while (!isOver) {
        loop.restart();
        loop.run_one();
    }
}

void WaitUntil(const std::function<bool()>& condition, const std::string& what) {
    const Clock::time_point end = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() >= end) {
            Fail(what);
        }
        std::this_thread::sleep_for(kStep);
    }
}

}  // namespace Load
