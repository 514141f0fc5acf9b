#include "proxy/web/WebSessions.h"

#include <sodium.h>

#include <algorithm>
#include <utility>

#include "proxy/web/Sodium.h"

namespace MuxProxy {
namespace {

constexpr std::size_t kSecretBytes = 32;

std::string NewKey() {
    PrepareSodium();
    return RandomBytes(crypto_generichash_KEYBYTES);
}

}  // namespace

WebSessions::WebSessions(const WebSettings& settings, std::function<void(WebSessionNumber)> ended)
    : longest_(settings.sessionHours), idle_(settings.idleMinutes), ended_(std::move(ended)), key_(NewKey()) {}

WebSessions::Created WebSessions::Create(const WebLogin& login, Time now) {
    Advance(now);
    MakeRoom(login.name);
    const std::string cookie = Base64Url(RandomBytes(kSecretBytes));
    const WebSession session = {++last_, login, Base64Url(RandomBytes(kSecretBytes))};
    const std::string hash = HashOf(cookie);
    byNumber_.emplace(session.number, Entry{session, hash, now, now});
    byHash_.emplace(hash, session.number);
    return {cookie, session};
}

std::optional<WebSession> WebSessions::Find(const std::string& cookie, const std::string& fingerprint, Time now) {
    Advance(now);
    const auto found = byHash_.find(HashOf(cookie));
    if (found == byHash_.end()) {
        return std::nullopt;
    }
    Entry& entry = byNumber_.at(found->second);
    const WebLogin& login = entry.session.login;
    const bool needsCertificate = login.by == WebLogin::By::kCertificate;
    if (needsCertificate && (fingerprint.empty() || !IsSameSecret(login.proof, fingerprint))) {
        return std::nullopt;
    }
    entry.used = now;
    return entry.session;
}

bool WebSessions::IsToken(const WebSession& session, const std::string& token) {
    return IsSameSecret(session.token, token);
}

bool WebSessions::Use(WebSessionNumber number, Time now) {
    Advance(now);
    const auto found = byNumber_.find(number);
    if (found == byNumber_.end()) {
        return false;
    }
    found->second.used = now;
    return true;
}

void WebSessions::End(const std::string& cookie) {
    const auto found = byHash_.find(HashOf(cookie));
    if (found != byHash_.end()) {
        Remove(found->second);
    }
}

void WebSessions::EndOf(const std::string& name) {
    EndIf([&](const WebSession& session) { return session.login.name == name; });
}

void WebSessions::Revalidate(const PasswordFile& users) {
    EndIf([&](const WebSession& session) {
        const WebLogin& login = session.login;
        return login.by == WebLogin::By::kPassword && (login.proof.empty() || users.HashOf(login.name) != login.proof);
    });
}

void WebSessions::EndIf(const std::function<bool(const WebSession&)>& isToEnd) {
    RemoveIf([&](const Entry& entry) { return isToEnd(entry.session); });
}

void WebSessions::Advance(Time now) {
    RemoveIf([&](const Entry& entry) { return EndTimeOf(entry) <= now; });
}

// What is called for one that ended may change the others.
void WebSessions::RemoveIf(const std::function<bool(const Entry&)>& isToGo) {
    std::vector<WebSessionNumber> toGo;
    for (const auto& [number, entry] : byNumber_) {
        if (isToGo(entry)) {
            toGo.push_back(number);
        }
    }
    for (const WebSessionNumber number : toGo) {
        Remove(number);
    }
}

void WebSessions::Remove(WebSessionNumber number) {
    const auto found = byNumber_.find(number);
    if (found != byNumber_.end()) {
        byHash_.erase(found->second.hash);
        byNumber_.erase(found);
        ended_(number);
    }
}

void WebSessions::MakeRoom(const std::string& name) {
    std::vector<WebSessionNumber> ofName;
    for (const auto& [number, entry] : byNumber_) {
        if (entry.session.login.name == name) {
            ofName.push_back(number);
        }
    }
    if (ofName.size() >= kMostOfName) {
        Remove(ofName.front());
    } else if (byNumber_.size() >= kMost) {
        Remove(byNumber_.begin()->first);
    }
}

std::optional<WebSessions::Time> WebSessions::NextTime() const {
    std::optional<Time> next;
    for (const auto& [number, entry] : byNumber_) {
        next = std::min(next.value_or(Time::max()), EndTimeOf(entry));
    }
    return next;
}

WebSessions::Time WebSessions::EndTimeOf(const Entry& entry) const {
    return std::min(entry.created + longest_, entry.used + idle_);
}

// Looking up a hash takes a time that says nothing about the cookie.
std::string WebSessions::HashOf(const std::string& cookie) const {
    std::string hash(crypto_generichash_BYTES, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), hash.size(),
                       reinterpret_cast<const unsigned char*>(cookie.data()), cookie.size(),
                       reinterpret_cast<const unsigned char*>(key_.data()), key_.size());
    return hash;
}

}  // namespace MuxProxy
