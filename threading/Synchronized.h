#pragma once

#include <mutex>
#include <utility>

namespace Threading {

// A value shared by several threads, accessible only through With(), that is under its lock. Inside belongs a push, a
// take or a find: never a log line, a send or a callback.
//
// Any thread. Holds its lock for the length of one call of the operation and no longer.
template <typename Value>
class Synchronized {
  public:
    template <typename... Arguments>
    explicit Synchronized(Arguments&&... arguments) : value_(std::forward<Arguments>(arguments)...) {}

    Synchronized(const Synchronized&) = delete;
    Synchronized& operator=(const Synchronized&) = delete;

    // Calls `operation` with the value and returns what it returns.
    template <typename Operation>
    auto With(Operation&& operation) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Operation>(operation)(value_);
    }

    template <typename Operation>
    auto With(Operation&& operation) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Operation>(operation)(value_);
    }

  private:
    mutable std::mutex mutex_;
    Value value_;
};

}  // namespace Threading
