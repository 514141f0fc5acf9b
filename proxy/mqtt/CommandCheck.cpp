#include "proxy/mqtt/CommandCheck.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

#include "tools/jose/Compact.h"

namespace MuxProxy {
namespace {

using std::chrono::seconds;

constexpr std::size_t kLongestNumber = 64;

class Refusing : public std::runtime_error {
  public:
    Refusing(MuxClient::ProxyError proxyError, const std::string& reason)
        : std::runtime_error(reason), error(proxyError) {}

    MuxClient::ProxyError error;
};

constexpr auto kNotValid = MuxClient::ProxyError::kNotValid;
constexpr auto kNotFresh = MuxClient::ProxyError::kNotFresh;
constexpr auto kNotSigned = MuxClient::ProxyError::kNotSigned;

// Does a step; a fault of a claim refuses the command with this error.
template <typename Step>
auto Required(MuxClient::ProxyError error, const Step& step) {
    try {
        return step();
    } catch (const ClaimFault& fault) {
        throw Refusing(error, fault.what());
    }
}

template <typename Value>
Value Present(std::optional<Value> value, const char* name) {
    if (!value) {
        throw ClaimFault(std::string(name) + " is missing");
    }
    return *value;
}

std::optional<std::int64_t> IdIn(const CommandPayload& claims, const char* name) {
    return claims.Integer(name, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
}

std::string SecondsText(WallTime::duration duration) {
    return std::to_string(std::chrono::ceil<seconds>(duration).count()) + " s";
}

std::string NumberIn(const CommandPayload& claims) {
    std::string number = Present(claims.Text("jti"), "jti");
    if (number.empty() || number.size() > kLongestNumber) {
        throw ClaimFault("jti must have 1 to 64 bytes");
    }
    return number;
}

}  // namespace

CommandCheck::CommandCheck(std::string site, Keys keys, Clock clock)
    : site_(std::move(site)),
      keys_(std::move(keys)),
      clock_(std::move(clock)),
      used_(clock_() + kMostAheadSigned, kFreshness) {}

std::variant<CheckedCommand, RefusedCommand> CommandCheck::Read(const CommandMessage& message) {
    const WallTime now = clock_();
    // If the clock is set back, a command that the broker held back is not fresh again.
    used_.RaiseFloor(now - kFreshness - WallTime::duration(1));
    const RequestKind* kind = nullptr;
    try {
        return Accept(message, now, kind);
    } catch (const Refusing& refusing) {
        return RefusedCommand{refusing.error, refusing.what(), kind};
    }
}

CheckedCommand CommandCheck::Accept(const CommandMessage& message, WallTime now, const RequestKind*& kind) {
    if (message.isRetained) {
        throw Refusing(kNotFresh, "it was retained by the broker");
    }
    const std::string payload = PayloadOf(message);
    const CommandPayload claims = Required(kNotValid, [&] { return CommandPayload(payload); });
    kind = claims.Kind();
    const WallTime issued = Required(kNotFresh, [&] { return Present(claims.Time("iat"), "iat"); });
    Required(keys_ ? kNotSigned : kNotValid, [&] {
        CheckTarget(claims, message.lock);
        CheckExpiry(claims, issued, now);
    });
    CheckFreshness(issued, now);
    const ProxyRequest request = Required(kNotValid, [&] { return claims.RequestFor(message.lock); });
    if (keys_) {
        UseNumber(message.client, claims, issued, now);
    }
    MuxClient::Request written = WriteRequest(request);
    return {request.kind, std::move(written.id), std::move(written.text)};
}

// Verified, if it has to be.
std::string CommandCheck::PayloadOf(const CommandMessage& message) const {
    if (!keys_) {
        return std::string(message.payload);
    }
    try {
        const std::string kid = keys_->KidOf(message.payload);
        if (kid != message.client) {
            throw Refusing(kNotSigned, "it names the key \"" + Excerpt(kid) + "\"");
        }
        return keys_->Verify(message.payload).payload;
    } catch (const Jose::SignatureFault& fault) {
        throw Refusing(kNotSigned, Excerpt(fault.what()));
    }
}

// A signed command must name site, gateway and lock; one that is not may, and then means no others.
void CommandCheck::CheckTarget(const CommandPayload& claims, const MuxClient::LockAddress& lock) const {
    const std::optional<std::string> site = claims.Text("aud");
    const std::optional<std::int64_t> gateway = IdIn(claims, "gateway");
    const std::optional<std::int64_t> lockId = IdIn(claims, "lock");
    if (keys_) {
        Present(site, "aud");
        Present(gateway, "gateway");
        Present(lockId, "lock");
    }
    if (site.value_or(site_) != site_) {
        throw ClaimFault("it is for the site \"" + Excerpt(*site) + "\"");
    }
    if (gateway.value_or(lock.gateway) != lock.gateway || lockId.value_or(lock.lock) != lock.lock) {
        throw ClaimFault("it is for another lock than its topic");
    }
}

void CommandCheck::CheckExpiry(const CommandPayload& claims, WallTime issued, WallTime now) const {
    const std::optional<WallTime> expiry = claims.Time("exp");
    if (keys_) {
        Present(expiry, "exp");
        NumberIn(claims);
    }
    if (expiry && *expiry <= now) {
        throw ClaimFault("it has expired");
    }
    if (keys_ && *expiry - issued > kLongestValidity) {
        throw ClaimFault("exp is more than 300 s after iat");
    }
}

void CommandCheck::CheckFreshness(WallTime issued, WallTime now) const {
    if (now - issued > kFreshness) {
        throw Refusing(kNotFresh, "it is " + SecondsText(now - issued) + " old");
    }
    if (issued - now > (keys_ ? kMostAheadSigned : kMostAhead)) {
        throw Refusing(kNotFresh, "its time is " + SecondsText(issued - now) + " ahead of this host's clock");
    }
}

// Last, so that a refused command does not use up its number.
void CommandCheck::UseNumber(const std::string& client, const CommandPayload& claims, WallTime issued, WallTime now) {
    switch (used_.Take(client, NumberIn(claims), issued, now)) {
        case UsedNumbers::Use::kFirst:
            return;
        case UsedNumbers::Use::kReplay:
            throw Refusing(kNotSigned, "it is a replay: its jti was used before");
        case UsedNumbers::Use::kTooOld:
            throw Refusing(kNotFresh,
                           "it was issued before this proxy started, within 5 s after that, or before the "
                           "clock was set back");
        case UsedNumbers::Use::kTooMany:
            throw Refusing(MuxClient::ProxyError::kNotSent, "too many signed commands in 30 s");
    }
}

}  // namespace MuxProxy
