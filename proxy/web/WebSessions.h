#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "proxy/configuration/Configuration.h"
#include "proxy/web/PasswordFile.h"

namespace MuxProxy {

using WebSessionNumber = std::uint64_t;

// Who logged in to the page, and by what. A value.
struct WebLogin {
    enum class By { kPassword, kCertificate };

    // The name in rules.
    std::string name;
    By by = By::kPassword;
    // What the session stands and falls with: the fingerprint of the certificate, or the hash of the password that was
    // verified (PasswordFile::HashOf()).
    std::string proof;
};

struct WebSession {
    // Never used again.
    WebSessionNumber number = 0;
    WebLogin login;
    // What each request that changes something repeats, besides the cookie.
    std::string token;
};

// The sessions of the page. Cookies are kept as hashes only. A session ends SessionHours after its log-in and
// IdleMinutes after its last use, by End(), with its user or password, or to make room for a newer one.
//
// Has no clock: each call says what time it is, never an earlier one than before. For the network loop.
class WebSessions {
  public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::size_t kMostOfName = 20;
    static constexpr std::size_t kMost = 1000;

    struct Created {
        // The value of the cookie: 43 characters of base64url.
        std::string cookie;
        WebSession session;
    };

    // `ended` is called with the number of each session that ends, after it did and from the call that ends it; it may
    // call any function here. Throws std::runtime_error if there are no random numbers to be had.
    WebSessions(const WebSettings& settings, std::function<void(WebSessionNumber)> ended);
    WebSessions(const WebSessions&) = delete;
    WebSessions& operator=(const WebSessions&) = delete;

    // A new session; the oldest one of this name, or of all, makes room for it. Passwords are verified while the file
    // of users may change: compare the proof with the file of now before.
    Created Create(const WebLogin& login, Time now);

    // The session of this cookie, which counts as a use of it; nothing if there is none, or if it is bound to another
    // certificate than the one of this connection, whose fingerprint is empty without one. The time that it takes does
    // not depend on how much of a cookie is right.
    std::optional<WebSession> Find(const std::string& cookie, const std::string& fingerprint, Time now);
    // Whether this is the token of the session, compared in constant time.
    static bool IsToken(const WebSession& session, const std::string& token);

    // Counts as a use, such as by a stream that stays open. False if the session has ended.
    bool Use(WebSessionNumber number, Time now);

    void End(const std::string& cookie);
    void EndOf(const std::string& name);
    void EndIf(const std::function<bool(const WebSession&)>& isToEnd);
    // Ends the sessions of passwords that are not in the file of users (any more).
    void Revalidate(const PasswordFile& users);

    // Ends what is over.
    void Advance(Time now);
    // When Advance() has something to do at the earliest; nothing without sessions.
    std::optional<Time> NextTime() const;
    std::size_t Count() const { return byNumber_.size(); }

  private:
    struct Entry {
        WebSession session;
        std::string hash;
        Time created{};
        Time used{};
    };

    std::string HashOf(const std::string& cookie) const;
    Time EndTimeOf(const Entry& entry) const;
    void MakeRoom(const std::string& name);
    void Remove(WebSessionNumber number);
    void RemoveIf(const std::function<bool(const Entry&)>& isToGo);

    const std::chrono::seconds longest_;
    const std::chrono::seconds idle_;
    const std::function<void(WebSessionNumber)> ended_;
    // Of the hashes; of this process alone.
    const std::string key_;
    // In the order of their log-ins.
    std::map<WebSessionNumber, Entry> byNumber_;
    std::map<std::string, WebSessionNumber> byHash_;
    WebSessionNumber last_ = 0;
};

}  // namespace MuxProxy
