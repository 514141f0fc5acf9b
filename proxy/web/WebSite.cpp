#include "proxy/web/WebSite.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "proxy/web/WebFiles.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

constexpr const char* kTokenHeader = "X-Token";

std::string TextOf(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

bool IsChange(const HttpRequest& request) {
    return request.method() != http::verb::get;
}

// From a page of this host: browsers say of each change where it comes from (Fetch standard).
bool IsFromThisPage(const HttpRequest& request) {
    const std::string site = TextOf(request["Sec-Fetch-Site"]);
    return TextOf(request[http::field::origin]) == "https://" + TextOf(request[http::field::host]) &&
           (site.empty() || site == "same-origin");
}

bool IsJson(const HttpRequest& request) {
    const std::string type = TextOf(request[http::field::content_type]);
    return type == "application/json" || type.rfind("application/json;", 0) == 0;
}

// Nothing if the request may be handled.
std::optional<HttpResponse> Refuse(const WebExchange& exchange, WebSite::Needs needs) {
    const HttpRequest& request = exchange.request;
    if (IsChange(request) && !IsFromThisPage(request)) {
        return ErrorReply(http::status::forbidden, "forged");
    }
    if (request.method() == http::verb::post && !IsJson(request)) {
        return NotValidReply("the body must be application/json");
    }
    if (needs == WebSite::Needs::kNothing) {
        return std::nullopt;
    }
    if (!exchange.session) {
        return ErrorReply(http::status::unauthorized, "no-session");
    }
    if (IsChange(request) && !WebSessions::IsToken(*exchange.session, TextOf(request[kTokenHeader]))) {
        return ErrorReply(http::status::forbidden, "forged");
    }
    if (needs == WebSite::Needs::kAuditor && !exchange.viewer.isAuditor) {
        return ErrorReply(http::status::forbidden, "not-allowed");
    }
    return std::nullopt;
}

HttpResponse FileAnswer(const HttpRequest& request, const WebFile& file) {
    if (request[http::field::if_none_match] == boost::beast::string_view(file.etag.data(), file.etag.size())) {
        HttpResponse response = FileReply("", file.type, file.etag);
        response.result(http::status::not_modified);
        return response;
    }
    return FileReply(file.gzip, file.type, file.etag);
}

}  // namespace

WebSite::WebSite(std::vector<Route> routes, std::function<void(WebExchange&)> findSession,
                 std::function<void(HttpSession&)> gone)
    : routes_(std::move(routes)), findSession_(std::move(findSession)), gone_(std::move(gone)) {}

HttpResponse WebSite::FaultResponse(http::status status) {
    return ErrorReply(status, status == http::status::bad_request           ? "not-valid"
                              : status == http::status::service_unavailable ? "too-many"
                                                                            : "too-long");
}

void WebSite::HandleRequest(HttpSession& session, HttpRequest request) {
    const auto exchange = std::make_shared<WebExchange>();
    exchange->connection = std::static_pointer_cast<HttpSession>(session.shared_from_this());
    exchange->request = std::move(request);
    DoStep(exchange, [&] { Dispatch(exchange); });
}

void WebSite::Dispatch(const WebExchangePointer& exchange) const {
    const HttpRequest& request = exchange->request;
    if (request.count(http::field::host) != 1 || !ReadTarget(TextOf(request.target()), *exchange)) {
        exchange->Answer(NotValidReply("a host and a path are required"));
        return;
    }
    const WebFile* const file = FindWebFile(exchange->path);
    if (file != nullptr && request.method() == http::verb::get) {
        exchange->Answer(FileAnswer(request, *file));
        return;
    }
    const auto hasPath = [&](const Route& route) { return route.path == exchange->path; };
    const auto route = std::find_if(routes_.begin(), routes_.end(), [&](const Route& candidate) {
        return hasPath(candidate) && candidate.method == request.method();
    });
    if (route != routes_.end()) {
        HandleRoute(exchange, *route);
    } else if (file != nullptr || std::any_of(routes_.begin(), routes_.end(), hasPath)) {
        exchange->Answer(ErrorReply(http::status::method_not_allowed, "no-method"));
    } else {
        exchange->Answer(ErrorReply(http::status::not_found, "not-found"));
    }
}

void WebSite::HandleRoute(const WebExchangePointer& exchange, const Route& route) const {
    findSession_(*exchange);
    if (exchange->session) {
        exchange->connection->SetKnown();
    }
    if (std::optional<HttpResponse> refusal = Refuse(*exchange, route.needs)) {
        exchange->Answer(std::move(*refusal));
    } else {
        route.handle(exchange);
    }
}

}  // namespace MuxProxy
