#include "mux/GatewayRegistry.h"

#include <algorithm>
#include <utility>

#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "threading/CatchAll.h"

namespace Mux {
namespace {

using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;
using Configuration::GatewayConfiguration;
using Snapshot = std::shared_ptr<const GatewayCollections>;

void AddToCollections(GatewayCollections& collections, const std::shared_ptr<VirtualGateway>& gateway,
                      const GatewayConfiguration& configuration) {
    collections.gateways.push_back(gateway);
    collections.gatewaysByID.emplace(configuration.id, gateway);
    for (const Configuration::DeviceConfiguration& device : configuration.devices) {
        collections.devices.emplace(device.id, ConfiguredDevice{configuration.id, device.name});
    }
}

void LogFailedConnect(const VirtualGateway& gateway) {
    MUX_LOG(plog::error) << "Cannot connect to gateway with ID " << gateway.ID() << " over IP " << gateway.IpAddress();
}

// The line about the status comes in each of these three, though only one of them is meant and no gateway is ever in
// it.
void ReconnectVirtualGateway(VirtualGateway& gateway) {
    const bool connected = gateway.Status() != Brenk::UNKNOWN && gateway.Connect(false);
    MUX_LOG(plog::error) << "The selected Virtual Gateway is in UNKNOWN status. A connection request will not be send.";
    if (connected) {
        MUX_LOG(plog::verbose) << "Connected to gateway with ID " << gateway.ID() << " over IP " << gateway.IpAddress()
                               << ".";
    } else {
        LogFailedConnect(gateway);
    }
}

bool IsConnected(const VirtualGateway& gateway) {
    const VirtualGatewayStatuses status = gateway.Status();
    return status == Brenk::CONNECTED || status == Brenk::READY;
}

void ConnectIfFree(VirtualGateway& gateway) {
    // A gateway's own thread may be reconnecting it right now: then there is nothing to do here.
    const auto connection = gateway.TryLockConnection();
    if (!connection.owns_lock() || IsConnected(gateway)) {
        return;
    }
    switch (gateway.Status()) {
        case Brenk::CREATED: {
            const bool connected = gateway.Connect(true);
            MUX_LOG(plog::verbose) << "Try to connect to gateway with ID " << gateway.ID() << " over IP "
                                   << gateway.IpAddress() << ", and also send a request for a SEQUENCE REFRESH.";
            if (!connected) {
                LogFailedConnect(gateway);
                Diagnostics::ErrorGuard::Instance().Report(Diagnostics::ErrorKind::kConnection);
            }
            break;
        }
        case Brenk::DISCONNECTED:
        case Brenk::FAULTED:
        case Brenk::UNKNOWN:
            ReconnectVirtualGateway(gateway);
            break;
        default:
            LogFailedConnect(gateway);
    }
}

}  // namespace

GatewayRegistry::GatewayRegistry(Brenk::GatewayOwner prototype)
    : prototype_(std::move(prototype)), current_(std::make_shared<const GatewayCollections>()) {}

void GatewayRegistry::Apply(const Configuration::MuxConfigurationData& configuration) {
    MUX_LOG(plog::verbose) << "Destroying all gateways already configured...";
    Clear();
    if (configuration.enabled) {
        MUX_LOG(plog::info) << "Start configure gateways.";
        if (!configuration.gateways.empty()) {
            Create(configuration.gateways);
            MUX_LOG(plog::info) << "Virtual gateways initialized.";
        }
    } else {
        MUX_LOG(plog::warning) << "Mux is not enabled.";
    }
    configured_ = true;
}

void GatewayRegistry::Clear() {
    Snapshot destroyed = std::make_shared<const GatewayCollections>();
    current_.With([&](Snapshot& current) { current.swap(destroyed); });
    for (const auto& gateway : destroyed->gateways) {
        gateway->Disconnect();
    }
}

void GatewayRegistry::Create(const std::vector<GatewayConfiguration>& gateways) {
    auto collections = std::make_shared<GatewayCollections>();
    for (const GatewayConfiguration& gateway : gateways) {
        if (const auto created = MakeGateway(gateway)) {
            AddToCollections(*collections, created, gateway);
        }
    }
    current_.With([&](Snapshot& current) { current = collections; });
}

// Null, with a line, for a gateway that cannot be made.
std::shared_ptr<VirtualGateway> GatewayRegistry::MakeGateway(const GatewayConfiguration& configuration) const {
    std::shared_ptr<VirtualGateway> created;
    const auto create = [&] {
        auto gateway =
            std::make_shared<VirtualGateway>(configuration.ipAddress, static_cast<std::uint32_t>(configuration.port));
        Brenk::GatewayOwner owner = prototype_;
        owner.id = configuration.id;
        owner.description = configuration.description;
        gateway->SetOwner(std::move(owner));
        created = std::move(gateway);
    };
    Threading::CatchAll(create, [&](const char* text) {
        MUX_LOG(plog::error) << "Cannot create gateway with ID " << configuration.id << ". " << text;
    });
    return created;
}

void GatewayRegistry::ConnectAll() {
    if (!enabled_) {
        return;
    }
    const auto gateways = Current();
    for (const auto& gateway : gateways->gateways) {
        if (gateway != nullptr && !IsConnected(*gateway)) {
            ConnectIfFree(*gateway);
        }
    }
}

Snapshot GatewayRegistry::Current() const {
    return current_.With([](const Snapshot& current) { return current; });
}

std::size_t GatewayRegistry::CountUnconnected() const {
    const Snapshot current = Current();
    const auto& gateways = current->gateways;
    return static_cast<std::size_t>(std::count_if(gateways.begin(), gateways.end(), [](const auto& gateway) {
        return gateway != nullptr && !IsConnected(*gateway);
    }));
}

}  // namespace Mux
