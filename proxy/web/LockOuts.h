#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace MuxProxy {

// Wrong passwords by name. A name is locked out after kWrongInARow in a row, for a minute, and after each further one
// for twice as long, up to an hour; a right one forgives all. Names count whether they exist or not.
//
// At most kMost names are remembered. One that is locked out or has a try under way is never forgotten for another; of
// the others those with the fewest wrong passwords go first, so that inventing names does not make room in the count of
// a name that is guessed at.
//
// Has no clock: each call says what time it is, never an earlier one than before. For one thread.
class LockOuts {
  public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int kWrongInARow = 5;
    static constexpr std::chrono::seconds kFirst{60};
    static constexpr std::chrono::seconds kLongest{3600};
    static constexpr std::size_t kMost = 10000;

    // When the name's lock-out ends; nothing if it is not locked out.
    std::optional<Time> LockedUntil(const std::string& name, Time now) const;
    // Whether one more try may be under way for this name: all of those together may turn out wrong.
    bool HasTry(const std::string& name) const;

    // A try is under way, until Ended() or Dropped() with the same name. False if there is no room for the name.
    bool Begin(const std::string& name, Time now);
    void Ended(const std::string& name, bool isRight, Time now);
    void Dropped(const std::string& name);

  private:
    struct Name {
        int wrong = 0;
        int underWay = 0;
        Time lockedUntil{};
        Time lastTry{};
    };
    using Names = std::map<std::string, Name>;
    // What is forgotten first comes first.
    using Rank = std::tuple<int, Time, std::string>;

    static Rank RankOf(const Names::value_type& name) { return {name.second.wrong, name.second.lastTry, name.first}; }
    bool MakeRoom(Time now);
    template <typename Change>
    void Update(Names::iterator name, Change change);

    Names names_;
    std::set<Rank> ranks_;
};

}  // namespace MuxProxy
