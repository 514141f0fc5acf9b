#include "proxy/web/WebLogins.h"

#include <memory>
#include <utility>

#include "json/Reading.h"
#include "proxy/mqtt/CommandPayload.h"
#include "proxy/requests/JsonObject.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;
using Clock = std::chrono::steady_clock;

// Browsers send a cookie of this name to no other host, and only encrypted (RFC 6265bis).
constexpr const char* kCookie = "__Host-session";
constexpr const char* kCookieAttributes = "; Path=/; Secure; HttpOnly; SameSite=Strict";

const char* NameOf(WebLogin::By by) {
    return by == WebLogin::By::kPassword ? "password" : "certificate";
}

constexpr std::int64_t kLogInsAtOnce = 30;
constexpr std::chrono::seconds kBetweenLogIns{3};

// Nothing if it is not a string.
std::optional<std::string> TextIn(const rapidjson::Value& object, const char* name) {
    const rapidjson::Value* const member = Json::FindMember(object, name);
    return member != nullptr && member->IsString() ? std::make_optional(Json::StringOf(*member)) : std::nullopt;
}

HttpResponse TooManyReply(const char* name, std::chrono::seconds wait) {
    JsonObject text;
    text.Text("error", name).Number("seconds", wait.count());
    HttpResponse response = JsonReply(http::status::too_many_requests, text.Json());
    response.set(http::field::retry_after, std::to_string(wait.count()));
    return response;
}

}  // namespace

WebLogins::WebLogins(boost::asio::io_context& loop, const WebSettings& settings, PasswordsPointer passwords,
                     std::function<void(WebSessionNumber)> ended, std::function<Viewer(const std::string&)> viewerOf)
    : title_(settings.title),
      viewerOf_(std::move(viewerOf)),
      passwords_(std::move(passwords)),
      sessions_(settings, std::move(ended)),
      timer_(loop),
      computing_(loop) {}

void WebLogins::SetPasswords(PasswordsPointer passwords) {
    passwords_ = std::move(passwords);
    sessions_.Revalidate(*passwords_);
}

void WebLogins::FindSession(WebExchange& exchange) {
    const std::string cookie = CookieOf(exchange.request, kCookie);
    if (!cookie.empty()) {
        exchange.session = sessions_.Find(cookie, exchange.connection->Fingerprint(), Clock::now());
    }
    if (exchange.session) {
        exchange.viewer = viewerOf_(exchange.session->login.name);
    }
}

bool WebLogins::Use(WebSessionNumber session) {
    return sessions_.Use(session, Clock::now());
}

void WebLogins::LogIn(const WebExchangePointer& exchange) {
    rapidjson::Document body;
    if (!Json::Parse(exchange->request.body(), body) || !body.IsObject()) {
        exchange->Answer(ErrorReply(http::status::bad_request, "not-valid"));
        return;
    }
    if (body.MemberCount() == 0) {
        LogInByCertificate(exchange);
        return;
    }
    const std::optional<std::string> user = TextIn(body, "user");
    const std::optional<std::string> password = TextIn(body, "password");
    if (!user || !password) {
        exchange->Answer(ErrorReply(http::status::bad_request, "not-valid"));
        return;
    }
    LogInByPassword(exchange, {*user, *password});
}

void WebLogins::LogInByCertificate(const WebExchangePointer& exchange) {
    const HttpSession& connection = *exchange->connection;
    if (connection.Name().empty()) {
        exchange->Answer(ErrorReply(http::status::unauthorized, "no-certificate"));
        return;
    }
    Begin(exchange, {connection.Name(), WebLogin::By::kCertificate, connection.Fingerprint()});
}

void WebLogins::LogInByPassword(const WebExchangePointer& exchange, Credentials credentials) {
    const std::optional<LoginLimits::Refusal> refusal =
        limits_.Begin(credentials.user, exchange->connection->Address(), Clock::now());
    if (refusal) {
        const char* const name = refusal->reason == LoginLimits::Reason::kLockedOut ? "locked-out" : "too-many";
        exchange->Answer(TooManyReply(name, refusal->wait));
        return;
    }
    const auto isRight = std::make_shared<bool>(false);
    const std::string user = credentials.user;
    computing_.Do([passwords = passwords_, given = std::move(credentials),
                   isRight] { *isRight = passwords->Verify(given.user, given.password); },
                  [this, exchange, user, proof = passwords_->HashOf(user), isRight] {
                      TakeVerdict(exchange, user, proof, *isRight);
                  });
}

// The file may have been read anew meanwhile.
void WebLogins::TakeVerdict(const WebExchangePointer& exchange, const std::string& user, const std::string& proof,
                            bool isRight) {
    const bool isLetIn = isRight && passwords_->HashOf(user) == proof;
    limits_.Ended(user, isLetIn, Clock::now());
    if (isLetIn) {
        Begin(exchange, {user, WebLogin::By::kPassword, proof});
        return;
    }
    AddRefusal(*exchange, Excerpt(user));
    exchange->Answer(ErrorReply(http::status::unauthorized, "wrong-password"));
}

void WebLogins::Begin(const WebExchangePointer& exchange, const WebLogin& login) {
    if (!exchange->connection->IsThere()) {
        return;
    }
    Allowance& pace = logIns_.try_emplace(login.name, kLogInsAtOnce, kBetweenLogIns).first->second;
    if (const auto wait = pace.Wait(Clock::now()); wait.count() > 0) {
        exchange->Answer(TooManyReply("too-many", std::chrono::ceil<std::chrono::seconds>(wait)));
        return;
    }
    pace.Spend(1);
    const WebSessions::Created created = sessions_.Create(login, Clock::now());
    AddRow(*exchange, "logged-in", login.name, NameOf(login.by));
    HttpResponse response = JsonReply(http::status::ok, SessionText(created.session));
    response.set(http::field::set_cookie, std::string(kCookie) + '=' + created.cookie + kCookieAttributes);
    exchange->Answer(std::move(response));
    Plan();
}

std::string WebLogins::SessionText(const WebSession& session) const {
    return JsonObject()
        .Text("user", session.login.name)
        .Text("token", session.token)
        .Text("title", title_)
        .Flag("auditor", viewerOf_(session.login.name).isAuditor)
        .Text("by", NameOf(session.login.by))
        .Json();
}

void WebLogins::Show(const WebExchangePointer& exchange) const {
    if (exchange->session) {
        exchange->Answer(JsonReply(http::status::ok, SessionText(*exchange->session)));
        return;
    }
    JsonObject text;
    text.Text("error", "no-session")
        .Flag("certificate", !exchange->connection->Name().empty())
        .Flag("passwords", !passwords_->Names().empty())
        .Text("title", title_);
    exchange->Answer(JsonReply(http::status::unauthorized, text.Json()));
}

void WebLogins::LogOut(const WebExchangePointer& exchange) {
    AddRow(*exchange, "logged-out", exchange->viewer.name, "");
    sessions_.End(CookieOf(exchange->request, kCookie));
    HttpResponse response = EmptyReply(http::status::no_content);
    response.set(http::field::set_cookie, std::string(kCookie) + "=; Max-Age=0" + kCookieAttributes);
    exchange->Answer(std::move(response));
}

void WebLogins::AddRow(const WebExchange& exchange, const char* operation, const std::string& client,
                       const std::string& remark) {
    AuditRow row;
    row.kind = "connection";
    row.client = client;
    row.address = WebAddress(exchange);
    row.operation = operation;
    row.remark = remark;
    audit_->Add(0, std::move(row));
}

void WebLogins::AddRefusal(const WebExchange& exchange, const std::string& client) {
    if (refusals_.Wait(Clock::now()).count() > 0) {
        ++refusalsWithoutRow_;
        return;
    }
    refusals_.Spend(1);
    const std::size_t before = std::exchange(refusalsWithoutRow_, 0);
    const std::string others = before > 0 ? " (" + std::to_string(before) + " more since the last such row)" : "";
    AddRow(exchange, "log-in-refused", client, "wrong password" + others);
}

void WebLogins::Plan() {
    const std::optional<WebSessions::Time> next = sessions_.NextTime();
    if (!next) {
        return;
    }
    timer_.expires_at(*next);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            sessions_.Advance(Clock::now());
            Plan();
        }
    });
}

}  // namespace MuxProxy
