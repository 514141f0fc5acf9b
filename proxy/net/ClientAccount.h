#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace MuxProxy {

// What may be had again little by little: so many at once, and one more in every period. For one thread.
class Allowance {
  public:
    using Clock = std::chrono::steady_clock;

    // Full at first.
    Allowance(std::int64_t most, std::chrono::milliseconds period, Clock::time_point now = Clock::now())
        : most_(most), period_(period), left_(most), counted_(now) {}

    // May take more than is left; the following then wait for it.
    void Spend(std::int64_t count) { left_ -= count; }

    // How long until something is left; 0 if it is.
    std::chrono::milliseconds Wait(Clock::time_point now);

  private:
    const std::int64_t most_;
    const std::chrono::milliseconds period_;
    std::int64_t left_;
    Clock::time_point counted_;
};

// What one client, by the name in its certificate, may take up with all its connections. For the network loop.
class ClientAccount {
  public:
    using Clock = Allowance::Clock;

    // Requests a second, and how many of these a refused one costs, so that nobody floods the audit with refusals. Each
    // further kBytesOfARequest cost as much as a request.
    static constexpr std::int64_t kRequestsPerSecond = 100;
    static constexpr std::int64_t kCostOfRefused = 20;
    static constexpr std::size_t kBytesOfARequest = 4096;
    // Bytes that wait for all its connections to take them.
    static constexpr std::size_t kMostPending = 4U << 20U;

    // With all that it may take at this time.
    explicit ClientAccount(Clock::time_point now = Clock::now());

    // How long its connections are not read; 0 if they are.
    std::chrono::milliseconds Rest(Clock::time_point now = Clock::now()) { return requests_.Wait(now); }
    // A request of so many bytes was read.
    void Spend(std::size_t bytes, bool isRefused);

    // False, with nothing added, if these are too many.
    bool AddPending(std::size_t bytes);
    void RemovePending(std::size_t bytes) { pending_ -= bytes; }

    // Whether there may be another row about its coming and going. If not, it is counted.
    bool MayHaveRow();
    // How many had none since this was asked last.
    std::size_t TakeWithoutRow();

    std::size_t connections = 0;

  private:
    Allowance requests_;
    Allowance rows_;
    std::size_t pending_ = 0;
    std::size_t withoutRow_ = 0;
};

}  // namespace MuxProxy
