#include "proxy/web/LoginLimits.h"

#include <algorithm>

#include "proxy/net/Network.h"
#include "proxy/web/PasswordFile.h"

namespace MuxProxy {
namespace {

using std::chrono::seconds;
using Refusal = LoginLimits::Refusal;

// No user has a longer name: those that are longer count by their beginning.
std::string KeyOf(const std::string& name) {
    return name.substr(0, kLongestUserName + 1);
}

// Rounded up, so that the next try is not refused again.
Refusal RefusalUntil(LoginLimits::Time time, LoginLimits::Reason reason, LoginLimits::Time now) {
    return {reason, std::max(seconds(1), std::chrono::ceil<seconds>(time - now))};
}

}  // namespace

std::optional<Refusal> LoginLimits::Begin(const std::string& name, const std::string& address, Time now) {
    constexpr Refusal kBusy = {Reason::kTooMany, seconds(1)};
    const std::string key = KeyOf(name);
    if (const std::optional<Time> end = names_.LockedUntil(key, now)) {
        return RefusalUntil(*end, Reason::kLockedOut, now);
    }
    if (underWay_ >= kMostUnderWay || !names_.HasTry(key)) {
        return kBusy;
    }
    if (const std::optional<Time> next = networks_.Take(NetworkOf(address), now)) {
        return RefusalUntil(*next, Reason::kTooMany, now);
    }
    if (!names_.Begin(key, now)) {
        return kBusy;
    }
    ++underWay_;
    return std::nullopt;
}

void LoginLimits::Ended(const std::string& name, bool isRight, Time now) {
    --underWay_;
    names_.Ended(KeyOf(name), isRight, now);
}

void LoginLimits::Dropped(const std::string& name) {
    --underWay_;
    names_.Dropped(KeyOf(name));
}

}  // namespace MuxProxy
