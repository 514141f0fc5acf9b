#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "proxy/queue/GatewayQueue.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// Which lock is asked for its status when: each once in a period, one after the other, evenly spread over it. The first
// round is quicker, so that something is known soon.
//
// A lock that left two questions in a row unanswered is left out for a day: the Mux keeps unanswered requests for ever,
// and their numbers spoil later ones. It then gets one question a day until it answers.
//
// Has no clock: each call says what time it is, never an earlier one than before. Not thread-safe.
class StatusRound {
  public:
    enum class Outcome : std::uint8_t {
        kAnswered,
        kUnanswered,
        // Nothing reached the gateway.
        kNotAsked,
    };
    using IsFree = std::function<bool(std::int32_t gateway)>;

    static constexpr std::chrono::seconds kBetweenFirst{10};
    static constexpr std::chrono::seconds kBetweenTrials{60};
    static constexpr std::chrono::hours kLeftOut{24};
    static constexpr unsigned kMostUnanswered = 2;

    StatusRound(const std::vector<MuxClient::LockAddress>& locks, std::chrono::seconds period, Time now);

    // The lock to ask now, of those whose gateway is free the one that is due longest; nothing while another is asked.
    std::optional<MuxClient::LockAddress> Next(Time now, const IsFree& isFree);
    // How the question about the lock that Next() gave has ended.
    void Ended(Outcome outcome, Time now);

    // When Next() may have one; nothing while one is asked, or without locks. A lock that waits for its gateway is due
    // already.
    std::optional<Time> NextTime() const;

  private:
    using Duration = Time::duration;

    struct Lock {
        MuxClient::LockAddress address;
        Time due;
        // One of its places in the even round.
        Time place;
        unsigned unanswered = 0;
    };

    // Its first place that is later.
    Time PlaceAfter(const Lock& lock, Time time) const;

    const Duration period_;
    std::vector<Lock> locks_;
    Lock* asked_ = nullptr;
};

}  // namespace MuxProxy
