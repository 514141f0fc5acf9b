#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "proxy/mqtt/CommandPayload.h"
#include "proxy/mqtt/UsedNumbers.h"
#include "tools/client/Message.h"
#include "tools/jose/KeySet.h"

namespace MuxProxy {

// A message on a topic for commands.
struct CommandMessage {
    // Of the topic: the lock, and who asks.
    MuxClient::LockAddress lock;
    std::string client;
    std::string_view payload;
    bool isRetained = false;
};

// A command that may go to the dispatcher, which checks the client's rights.
struct CheckedCommand {
    const RequestKind* kind = nullptr;
    // The text of a client's packet, with a MessageID that was never used before.
    std::string id;
    std::string text;
};

struct RefusedCommand {
    MuxClient::ProxyError error = MuxClient::ProxyError::kNotValid;
    // For people: "it is 31 s old".
    std::string reason;
    // For the audit; null if it is unknown, or not signed as it must be.
    const RequestKind* kind = nullptr;
};

// Reads commands that came over MQTT. With keys only those with a valid signature (JWS, ES256) are accepted, for this
// site and the lock and client of the topic, and each only once: whoever has the broker can open nothing. Without keys
// the broker is trusted.
//
// Used numbers are not on disk. Commands that an earlier process may have accepted are refused by their time of issue,
// and so are those that were no longer fresh at an earlier Read(). What remains: when the clock is wrong by more than a
// day at the start, or the audit's file was exchanged, and the clock is then set to within 30 s of a used command, that
// command is accepted once more.
//
// For one thread.
class CommandCheck {
  public:
    using Clock = std::function<WallTime()>;
    using Keys = std::shared_ptr<const Jose::KeySet>;

    // How old a command may be, and how far ahead of this host's clock.
    static constexpr std::chrono::seconds kFreshness{30};
    static constexpr std::chrono::seconds kMostAhead{30};
    // A signed one may have been used just before this process started, by a key whose clock is ahead. So this is also
    // how long after the start signed commands are refused.
    static constexpr std::chrono::seconds kMostAheadSigned{5};
    static constexpr std::chrono::seconds kLongestValidity{300};

    // `site` is the audience of signed commands; `keys` is null for a site that requires no signatures. Calls `clock`,
    // here for the start.
    CommandCheck(std::string site, Keys keys, Clock clock);

    // An earlier process may have accepted commands until this time by its clock, which may be ahead of the clock now:
    // a host without a battery for its clock starts with an old time. Call before the first Read().
    void SetEarlierEnd(WallTime time) { used_.RaiseFloor(time + kMostAheadSigned); }

    // For commands from now on. Used numbers stay known.
    void SetKeys(Keys keys) { keys_ = std::move(keys); }

    std::variant<CheckedCommand, RefusedCommand> Read(const CommandMessage& message);

  private:
    CheckedCommand Accept(const CommandMessage& message, WallTime now, const RequestKind*& kind);
    std::string PayloadOf(const CommandMessage& message) const;
    void CheckTarget(const CommandPayload& claims, const MuxClient::LockAddress& lock) const;
    void CheckExpiry(const CommandPayload& claims, WallTime issued, WallTime now) const;
    void CheckFreshness(WallTime issued, WallTime now) const;
    void UseNumber(const std::string& client, const CommandPayload& claims, WallTime issued, WallTime now);

    const std::string site_;
    Keys keys_;
    const Clock clock_;
    UsedNumbers used_;
};

}  // namespace MuxProxy
