#include "proxy/metrics/MetricsServer.h"

#include <prometheus/exposer.h>
#include <prometheus/registry.h>

#include <stdexcept>
#include <string>

namespace MuxProxy {
namespace {

std::string EndpointOf(const MetricsSettings& settings) {
    const bool isV6 = settings.address.find(':') != std::string::npos;
    return (isV6 ? "[" + settings.address + "]" : settings.address) + ":" + std::to_string(settings.port);
}

}  // namespace

MetricsServer::MetricsServer(const MetricsSettings& settings, const std::shared_ptr<prometheus::Registry>& registry) {
    const std::string endpoint = EndpointOf(settings);
    try {
        exposer_ = std::make_unique<prometheus::Exposer>(endpoint);
    } catch (const std::exception&) {
        throw std::runtime_error("cannot serve metrics on " + endpoint + ": is the port in use?");
    }
    exposer_->RegisterCollectable(registry);
}

MetricsServer::~MetricsServer() = default;

}  // namespace MuxProxy
