#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace MuxProxy {

// How often passwords may be tried: by name, by the peer's network and in all. Names count whether they exist or not,
// so that the answers do not show which do.
//
// A name is locked out after kWrongInARow wrong passwords in a row, for a minute, and after each further one for twice
// as long, up to an hour; a right one forgives all. Strangers can lock out a name again and again: log-in by a
// certificate and sessions that exist do not go through here. Memory is bounded. A name that is locked out is never
// forgotten for others; of those that are not, the ones with the fewest wrong passwords go first.
//
// Has no clock: each call says what time it is, never an earlier one than before. For the network loop.
class LoginLimits {
  public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int kWrongInARow = 5;
    static constexpr std::chrono::seconds kFirstLockOut{60};
    static constexpr std::chrono::seconds kLongestLockOut{3600};
    // Of a network: tries at once, and how long until there is another one.
    static constexpr int kTriesAtOnce = 10;
    static constexpr std::chrono::seconds kBetweenTries{6};
    // One password that is computed, and those that wait for it.
    static constexpr std::size_t kMostUnderWay = 9;
    static constexpr std::size_t kMostNames = 10000;
    static constexpr std::size_t kMostNetworks = 10000;

    enum class Reason { kLockedOut, kTooMany };
    struct Refusal {
        Reason reason;
        // Until it makes sense to try again; at least 1.
        std::chrono::seconds wait;
    };

    // Whether the password of this name may be computed now; `address` is the peer's. Nothing is yes: each yes is
    // followed by one call of Ended() or Dropped() with the same name. Passwords are computed one after the other, in
    // the order of these calls.
    std::optional<Refusal> Begin(const std::string& name, const std::string& address, Time now);
    // The password was computed.
    void Ended(const std::string& name, bool isRight, Time now);
    // It was not computed, such as for a browser that has gone.
    void Dropped(const std::string& name);

  private:
    struct Name {
        int wrong = 0;
        int underWay = 0;
        Time lockedUntil{};
        Time last{};
    };
    // Wrong passwords, the last try and the name: the first is the first to go.
    using Rank = std::pair<std::pair<int, Time>, std::string>;
    using Names = std::map<std::string, Name>;

    Names::iterator FindOrMakeRoom(const std::string& name, Time now);
    bool ForgetOne(Time now);
    void Rerank(Names::iterator found, const Name& changed);
    std::optional<Refusal> TakeTry(const std::string& network, Time now);

    Names names_;
    std::set<Rank> ranks_;
    // When each network has all its tries again, and the same by time.
    std::map<std::string, Time> networks_;
    std::set<std::pair<Time, std::string>> networksByTime_;
    std::size_t underWay_ = 0;
};

}  // namespace MuxProxy
