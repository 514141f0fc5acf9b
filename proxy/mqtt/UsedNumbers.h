#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace MuxProxy {

// Time by this host's clock, which may be set.
using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

// The numbers ("jti") of signed commands, each of which a key may use once. A number is remembered as long as its
// command is fresh. Commands issued at or before the floor are refused: the floor is at least the issue time of each
// number that was forgotten, so that a clock that is set back does not make a used number valid again. For one thread.
class UsedNumbers {
  public:
    // How many are remembered at most; about 3 MiB.
    static constexpr std::size_t kMost = 10000;

    enum class Use { kFirst, kReplay, kTooOld, kTooMany };

    // `floor`: numbers of commands issued until then are unknown. A number is forgotten `freshness` after its issue.
    UsedNumbers(WallTime floor, std::chrono::seconds freshness) : floor_(floor), freshness_(freshness) {}

    // Commands issued until then are refused too. The floor never sinks.
    void RaiseFloor(WallTime floor);

    // Remembers a number, unless the result is another than kFirst.
    Use Take(const std::string& key, const std::string& number, WallTime issued, WallTime now);

  private:
    void ForgetUntil(WallTime time);

    WallTime floor_;
    const std::chrono::seconds freshness_;
    // Key and number.
    std::set<std::pair<std::string, std::string>> used_;
    // The same, oldest first.
    std::set<std::tuple<WallTime, std::string, std::string>> byTime_;
};

}  // namespace MuxProxy
