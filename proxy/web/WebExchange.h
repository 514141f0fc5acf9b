#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/web/HttpSession.h"
#include "proxy/web/SiteState.h"
#include "proxy/web/WebSessions.h"

namespace MuxProxy {

// One request of a browser and who sent it, until its answer. For the network loop.
struct WebExchange {
    std::shared_ptr<HttpSession> connection;
    HttpRequest request;
    // Of the target, decoded.
    std::string path;
    std::map<std::string, std::string> query;
    // Whose it is; nothing without a session.
    std::optional<WebSession> session;
    Viewer viewer;

    void Answer(HttpResponse response) const {
        const bool isHead = request.method() == boost::beast::http::verb::head;
        response.keep_alive(request.keep_alive() && !isHead);
        if (isHead) {
            response.body().clear();
        }
        connection->Answer(std::move(response));
    }
};

using WebExchangePointer = std::shared_ptr<WebExchange>;

// Does a step of it; if that throws, a line says so and the browser gets 500. Whatever a request does, it does to its
// browser alone.
void DoStep(const WebExchangePointer& exchange, const std::function<void()>& step);

// In the audit, the address of who uses the page: "web 192.0.2.1". Any thread.
inline std::string WebAddress(const WebExchange& exchange) {
    return "web " + exchange.connection->Address();
}

// Puts path and query of a target ("/api/audit?lock=5") into the exchange (RFC 3986, and "+" for a blank in the query).
// False if the target is not a path, or has an encoding that cannot be read. Any thread.
bool ReadTarget(std::string_view target, WebExchange& exchange);

// The value of the cookie with this name (RFC 6265); empty if there is none. Any thread.
std::string CookieOf(const HttpRequest& request, std::string_view name);

}  // namespace MuxProxy
