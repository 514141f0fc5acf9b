#pragma once

#include <functional>
#include <string_view>

#include "proxy/web/WebExchange.h"
#include "proxy/web/WebServer.h"

namespace MuxProxy {

// What is at which path. For the network loop.
class WebSite : public WebRequestHandler {
  public:
    using Handler = std::function<void(const WebExchangePointer&)>;

    enum class Needs { kNothing, kSession, kAuditor };

    struct Route {
        boost::beast::http::verb method;
        std::string_view path;
        Needs needs;
        Handler handle;
    };

    // `findSession` puts the session into an exchange, if there is one.
    WebSite(std::vector<Route> routes, std::function<void(WebExchange&)> findSession,
            std::function<void(HttpSession&)> gone);

    void HandleRequest(HttpSession& session, HttpRequest request) override;
    HttpResponse FaultResponse(boost::beast::http::status status) override;
    void SessionGone(HttpSession& session) override { gone_(session); }

  private:
    void Dispatch(const WebExchangePointer& exchange) const;
    void HandleRoute(const WebExchangePointer& exchange, const Route& route) const;

    const std::vector<Route> routes_;
    const std::function<void(WebExchange&)> findSession_;
    const std::function<void(HttpSession&)> gone_;
};

}  // namespace MuxProxy
