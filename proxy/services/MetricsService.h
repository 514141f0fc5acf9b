#pragma once

#include <boost/asio/steady_timer.hpp>
#include <optional>

#include "proxy/metrics/Metrics.h"
#include "proxy/metrics/MetricsServer.h"
#include "proxy/services/Service.h"

namespace MuxProxy {

// Keeps the metrics up to date and serves them.
class MetricsService : public Service {
  public:
    // Opens the port. Throws std::runtime_error with a sentence for people if it cannot. The loop outlives it.
    MetricsService(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks);

    // For other services to set theirs.
    Metrics& Values() { return metrics_; }

    void AddHooks(AuditHooks& hooks) override;
    void Start(const ServicePorts& ports) override;
    void Stop() override;
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) override;
    std::function<void()> ReadAnew(const Configuration& configuration) override;
    void MeasureExpiry(const CertificateSettings& settings) override;

  private:
    // What changes too often to follow each change.
    void Sample();

    boost::asio::steady_timer timer_;
    Metrics metrics_;
    const MetricsServer server_;
    std::optional<ServicePorts> ports_;
};

}  // namespace MuxProxy
