#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/VirtualGateway.h"
#include "mux/configuration/MuxConfigurationData.h"
#include "threading/Synchronized.h"

namespace Mux {

// A lock as the configuration names it.
struct ConfiguredDevice {
    std::int32_t gatewayID = 0;
    std::string name;
};

// The gateways of one configuration. Built once and then only read, so that every thread may keep its own hold of it
// while a new configuration replaces it.
struct GatewayCollections {
    // In the order of the configuration.
    std::vector<std::shared_ptr<Brenk::VirtualGateway>> gateways;
    // By gateway ID; of gateways with the same ID the first.
    std::map<std::int32_t, std::shared_ptr<Brenk::VirtualGateway>> gatewaysByID;
    // By device address; of devices with the same address the first.
    std::map<std::int32_t, ConfiguredDevice> devices;
};

// The gateways of the current configuration: made, kept connected and taken away.
//
// What is current is a snapshot that never changes: a new configuration puts another one in its place. A gateway is
// disconnected before it leaves. Nothing is connected until Enable(true).
class GatewayRegistry {
  public:
    // Each gateway gets the callbacks and the context of `prototype`.
    explicit GatewayRegistry(Brenk::GatewayOwner prototype);

    // Whether ConnectAll() does anything. Any thread.
    void Enable(bool enabled) { enabled_ = enabled; }

    // Takes all gateways away and makes those of an enabled configuration, not yet connected. One that cannot be made
    // costs an error line. Logs under the operation of the caller; one thread at a time.
    void Apply(const Configuration::MuxConfigurationData& configuration);

    // Disconnects all gateways and takes them away. As Apply().
    void Clear();

    // Connects every gateway that needs it, unless one of its own threads is about to. Logs under the operation of the
    // caller. Gateways thread.
    void ConnectAll();

    // Any thread. A snapshot keeps its gateways alive.
    std::shared_ptr<const GatewayCollections> Current() const;
    std::size_t CountUnconnected() const;
    bool IsConfigured() const { return configured_; }  // whether any configuration was applied

  private:
    void Create(const std::vector<Configuration::GatewayConfiguration>& gateways);
    std::shared_ptr<Brenk::VirtualGateway> MakeGateway(const Configuration::GatewayConfiguration& configuration) const;

    const Brenk::GatewayOwner prototype_;
    std::atomic<bool> configured_{false};
    std::atomic<bool> enabled_{false};
    Threading::Synchronized<std::shared_ptr<const GatewayCollections>> current_;
};

}  // namespace Mux
