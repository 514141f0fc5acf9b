#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "proxy/net/Aside.h"
#include "proxy/services/Service.h"
#include "proxy/web/LiveStreams.h"
#include "proxy/web/SiteHealth.h"
#include "proxy/web/SiteState.h"
#include "proxy/web/WebAudit.h"
#include "proxy/web/WebLogins.h"
#include "proxy/web/WebOrders.h"
#include "proxy/web/WebServer.h"
#include "proxy/web/WebSite.h"

namespace MuxProxy {

// The page: a port for browsers, and what they show and ask for. For the network loop, unless said otherwise.
class WebService : public Service {
  public:
    // Opens the port and the list of cards, and reads users and the end of the audit. Throws std::runtime_error with a
    // sentence for people if one cannot be used. The loop outlives it.
    WebService(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks);

    // For a site that has a broker.
    void SetBrokerConnected(bool isConnected);

    void AddHooks(AuditHooks& hooks) override { hooks.countsRows = true; }
    void Start(const ServicePorts& ports) override;
    void Stop() override;
    void End() override;
    bool HasEnded() const override { return server_.IsEmpty(); }
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) override;
    void EventCame(const AuditRow& event) override;
    void RequestTaken(const TakenRequest& request) override;
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending) override;
    std::function<void()> ReadAnew(const Configuration& configuration) override;
    void MeasureExpiry(const CertificateSettings& settings) override;

  private:
    std::vector<WebSite::Route> Routes();
    Viewer ViewerOf(const std::string& name) const { return {name, auditors_.count(name) != 0}; }
    void StartStream(const WebExchangePointer& exchange);
    // What changes too often to follow each change.
    void Sample();
    void MeasureDisk();

    const WebSettings settings_;
    const std::string auditFile_;
    std::set<std::string> auditors_;
    SiteState site_;
    LiveStreams streams_;
    WebLogins logins_;
    SiteHealth health_;
    boost::asio::steady_timer timer_;
    WebOrders orders_;
    WebAudit audit_;
    // Behind those whose files its thread reads, so that it ends first.
    Aside disk_;
    WebSite pages_;
    WebServer server_;
    std::optional<ServicePorts> ports_;
    // Measured by any thread.
    std::mutex endsMutex_;
    std::map<std::string, std::chrono::system_clock::time_point> ends_;
    unsigned samples_ = 0;
};

}  // namespace MuxProxy
