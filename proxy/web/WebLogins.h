#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/net/Aside.h"
#include "proxy/net/ClientAccount.h"
#include "proxy/web/LoginLimits.h"
#include "proxy/web/PasswordFile.h"
#include "proxy/web/WebExchange.h"
#include "proxy/web/WebSessions.h"

namespace MuxProxy {

// Who is let in: log-in by certificate or password, the sessions, and their end. For the network loop; passwords are
// computed on a thread beside it.
class WebLogins {
  public:
    using PasswordsPointer = std::shared_ptr<const PasswordFile>;

    // `ended` as in WebSessions. The loop outlives it.
    WebLogins(boost::asio::io_context& loop, const WebSettings& settings, PasswordsPointer passwords,
              std::function<void(WebSessionNumber)> ended, std::function<Viewer(const std::string&)> viewerOf);

    // The audit outlives it.
    void Start(AuditLog& audit) { audit_ = &audit; }
    void Stop() { timer_.cancel(); }

    // The file was read anew: sessions of passwords that are not in it end.
    void SetPasswords(PasswordsPointer passwords);

    // Puts the session of the request's cookie into the exchange, if there is one.
    void FindSession(WebExchange& exchange);
    bool Use(WebSessionNumber session);

    // POST, GET and DELETE of "/api/session".
    void LogIn(const WebExchangePointer& exchange);
    void Show(const WebExchangePointer& exchange) const;
    void LogOut(const WebExchangePointer& exchange);

  private:
    struct Credentials {
        std::string user;
        std::string password;
    };

    void LogInByCertificate(const WebExchangePointer& exchange);
    void LogInByPassword(const WebExchangePointer& exchange, Credentials credentials);
    void TakeVerdict(const WebExchangePointer& exchange, const std::string& user, const std::string& proof,
                     bool isRight);
    void Begin(const WebExchangePointer& exchange, const WebLogin& login);
    std::string SessionText(const WebSession& session) const;
    void AddRow(const WebExchange& exchange, const char* operation, const std::string& client,
                const std::string& remark);
    // A row about a refusal, unless there are too many; these are counted in the next one.
    void AddRefusal(const WebExchange& exchange, const std::string& client);
    // The timer of sessions that end by themselves.
    void Plan();

    const std::string title_;
    const std::function<Viewer(const std::string&)> viewerOf_;
    PasswordsPointer passwords_;
    LoginLimits limits_;
    WebSessions sessions_;
    boost::asio::steady_timer timer_;
    AuditLog* audit_ = nullptr;
    // Each log-in has its row, so none is faster than rows may come. By name: of those who may log in.
    std::map<std::string, Allowance> logIns_;
    Allowance refusals_{60, std::chrono::seconds(3)};
    std::size_t refusalsWithoutRow_ = 0;
    Aside computing_;
};

}  // namespace MuxProxy
