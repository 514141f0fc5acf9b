#pragma once

#include <memory>

#include "proxy/configuration/Configuration.h"

namespace prometheus {
class Exposer;
class Registry;
}  // namespace prometheus

namespace MuxProxy {

// Serves "/metrics" over HTTP on threads of its own, so that a slow reader delays nobody.
class MetricsServer {
  public:
    // Throws std::runtime_error with a sentence for people if the port cannot be opened.
    MetricsServer(const MetricsSettings& settings, const std::shared_ptr<prometheus::Registry>& registry);
    ~MetricsServer();

  private:
    std::unique_ptr<prometheus::Exposer> exposer_;
};

}  // namespace MuxProxy
