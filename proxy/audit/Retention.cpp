#include "proxy/audit/Retention.h"

#include <algorithm>

namespace MuxProxy {
namespace {

constexpr std::chrono::hours kDay{24};
// More cannot be subtracted from a time.
constexpr std::chrono::hours kLongest = 36500 * kDay;
constexpr std::int64_t kMebibyte = 1048576;

}  // namespace

std::optional<SystemTime> OldestKept(std::chrono::hours time, const ClockWatch& clock) {
    return clock.IsInDoubt() ? std::nullopt : std::make_optional(clock.Now() - std::min(time, kLongest));
}

AuditBounds BoundsOf(const AuditSettings& settings, const ClockWatch& clock) {
    return {clock.Now(), OldestKept(settings.days * kDay, clock), settings.mebibytes * kMebibyte};
}

}  // namespace MuxProxy
