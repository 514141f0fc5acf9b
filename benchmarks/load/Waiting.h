#pragma once

#include <asio.hpp>
#include <chrono>
#include <functional>
#include <string>

namespace Load {

constexpr std::chrono::seconds kPatience{30};

// Runs the loop's handlers on this thread until the condition holds. Throws std::runtime_error, naming `what`, when
// it does not hold within `patience`.
void RunUntil(asio::io_context& loop, const std::function<bool()>& condition, const std::string& what,
              std::chrono::nanoseconds patience = kPatience);

// Runs the loop's handlers on this thread for so long, to the microseconds that a thread takes to wake up.
void RunFor(asio::io_context& loop, std::chrono::nanoseconds duration);

// Looks again and again without a loop, on this thread. Throws as RunUntil does.
void WaitUntil(const std::function<bool()>& condition, const std::string& what);

}  // namespace Load
