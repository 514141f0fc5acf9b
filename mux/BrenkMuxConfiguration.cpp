// Configurations: read, applied, and their gateways kept connected.

#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <utility>

#include "diagnostics/CaughtException.h"
#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "diagnostics/TextReading.h"
#include "mux/BrenkMux.h"
#include "mux/configuration/MuxConfigurationParser.h"
#include "mux/messages/RequestPayloads.h"

namespace Mux {
namespace {

using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;
using Configuration::GatewayConfiguration;
using Configuration::MuxConfigurationData;
using Configuration::MuxConfigurationParser;

std::string Summary(const MuxConfigurationData& configuration) {
    std::ostringstream text;
    text << "Parsed configuration data from JSON.\n"
         << (configuration.enabled ? "Current MUX is enabled.\n" : "Current MUX is not enabled.\n")
         << "Configuration contains data for " << configuration.gateways.size() << " gateways.\n";
    std::size_t index = 0;
    for (const GatewayConfiguration& gateway : configuration.gateways) {
        text << "Gateway[" << index++ << "]\n"
             << "ID: " << gateway.id << "\nDescription: " << gateway.description << "\nIpAddress: " << gateway.ipAddress
             << "\nPort: " << gateway.port << "\nThe gateway have " << gateway.devices.size() << " nodes attached.\n";
    }
    return text.str();
}

struct StatusName {
    VirtualGatewayStatuses status;
    const char* name;
};

constexpr StatusName kStatusNames[] = {
    {Brenk::UNKNOWN, "UNKNOWN"},           {Brenk::CONNECTED, "CONNECTED"}, {Brenk::READY, "READY"},
    {Brenk::DISCONNECTED, "DISCONNECTED"}, {Brenk::FAULTED, "FAULTED"},
};

std::string NameOf(VirtualGatewayStatuses status) {
    for (const StatusName& row : kStatusNames) {
        if (row.status == status) {
            return row.name;
        }
    }
    return std::to_string(status);
}

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

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): every line that it logs begins with this signature
bool BrenkMux::ParseConfigurationFile(std::string path) {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Reading configuration JSON data from file " << path;
    std::string text;
    std::ifstream file(path, std::ios::binary);
    if (Diagnostics::ReadText(file, text) != Diagnostics::TextReading::kWhole) {
        MUX_LOG(plog::error) << "Cannot read configuration JSON data from file " << path;
        return false;
    }
    return ParseConfiguration(std::move(text));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): every line that it logs begins with this signature
bool BrenkMux::ParseConfiguration(std::string json) {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Parsing configuration JSON...";
    MuxConfigurationData configuration;
    if (!MuxConfigurationParser().ParseText(json, configuration)) {
        MUX_LOG(plog::error) << "Cannot parse JSON configuration. Invalid data.";
        return false;
    }
    MUX_LOG(plog::debug) << Summary(configuration);
    MUX_LOG(plog::info) << "JSON Configuration parsed. Activating new configuration.";
    enabled_ = configuration.enabled;
    InitVirtualGateways(std::move(configuration));
    return true;
}

bool BrenkMux::ParseConfigurationMessage(MuxMessage& message) {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Trying to parse a configuration message that arrived from client.";
    const auto* const payload = dynamic_cast<const MuxConfigureMessagePayload*>(message.Payload());
    MuxConfigurationData configuration;
    if (payload == nullptr || !MuxConfigurationParser().ParseObject(payload->Data(), configuration)) {
        MUX_LOG(plog::error) << "Cannot parse configuration message data. Invalid data.";
        return false;
    }
    MUX_LOG(plog::debug) << Summary(configuration);
    MUX_LOG(plog::info) << "Received message configuration parsed. Activating new configuration.";
    enabled_ = configuration.enabled;
    InitVirtualGateways(std::move(configuration));
    return true;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): every line that it logs begins with this signature
void BrenkMux::InitVirtualGateways(MuxConfigurationData configuration) {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Destroying all gateways already configured...";
    DestroyVirtualGateways();
    if (configuration.enabled) {
        MUX_LOG(plog::info) << "Start configure gateways.";
        if (!configuration.gateways.empty()) {
            CreateVirtualGateways(configuration.gateways);
            MUX_LOG(plog::info) << "Virtual gateways initialized.";
        }
    } else {
        MUX_LOG(plog::warning) << "Mux is not enabled.";
    }
    configured_ = true;
}

void BrenkMux::DestroyVirtualGateways() {
    std::shared_ptr<const GatewayCollections> destroyed = std::make_shared<const GatewayCollections>();
    gateways_.With([&](std::shared_ptr<const GatewayCollections>& current) { current.swap(destroyed); });
    for (const auto& gateway : destroyed->gateways) {
        gateway->Disconnect();
    }
}

void BrenkMux::CreateVirtualGateways(const std::vector<GatewayConfiguration>& gateways) {
    auto collections = std::make_shared<GatewayCollections>();
    for (const GatewayConfiguration& gateway : gateways) {
        if (const auto created = CreateVirtualGateway(gateway)) {
            AddToCollections(*collections, created, gateway);
        }
    }
    gateways_.With([&](std::shared_ptr<const GatewayCollections>& current) { current = collections; });
}

// Null, with a line, for a gateway that cannot be made.
std::shared_ptr<VirtualGateway> BrenkMux::CreateVirtualGateway(const GatewayConfiguration& gateway) {
    try {
        auto created = std::make_shared<VirtualGateway>(gateway.ipAddress, static_cast<std::uint32_t>(gateway.port));
        Brenk::GatewayOwner owner;
        owner.id = gateway.id;
        owner.description = gateway.description;
        owner.context = this;
        owner.stateChanged = VirtualGatewayStateChangedCallback;
        owner.responseReceived = VirtualGatewayResponseReceivedCallback;
        owner.eventReceived = VirtualGatewayEventReceivedCallback;
        created->SetOwner(std::move(owner));
        return created;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        const Diagnostics::CaughtException caught;
        MUX_LOG(plog::error) << "Cannot create gateway with ID " << gateway.id << ". " << caught.Text();
        return nullptr;
    }
}

std::size_t BrenkMux::DescriptorsForGateways(void* context) {
    const auto collections = static_cast<BrenkMux*>(context)->Gateways();
    const auto& gateways = collections->gateways;
    return static_cast<std::size_t>(std::count_if(gateways.begin(), gateways.end(), [](const auto& gateway) {
        return gateway != nullptr && !IsConnected(*gateway);
    }));
}

void BrenkMux::ConnectVirtualGateways() {
    MUX_OPERATION();
    if (!enabled_) {
        return;
    }
    const auto gateways = Gateways();
    for (const auto& gateway : gateways->gateways) {
        if (gateway != nullptr && !IsConnected(*gateway)) {
            ConnectVirtualGateway(*gateway);
        }
    }
}

void BrenkMux::ConnectVirtualGateway(VirtualGateway& gateway) {
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

void BrenkMux::VirtualGatewayStateChangedCallback(VirtualGateway* gateway, VirtualGatewayStatuses oldStatus,
                                                  VirtualGatewayStatuses newStatus, void* context) {
    MUX_OPERATION();
    if (context == nullptr || gateway == nullptr) {
        return;
    }
    try {
        MUX_LOG(plog::info) << "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway " << gateway->ID()
                            << " changed state from " << NameOf(oldStatus) << " to state " << NameOf(newStatus);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        MUX_LOG(plog::error) << "Error in logging.";
    }
    if (newStatus == Brenk::CONNECTED) {
        MUX_LOG(plog::info) << "VG connected.";
    } else if (newStatus == Brenk::FAULTED) {
        MUX_LOG(plog::warning) << "Try to reconnect VG";
        gateway->Disconnect();
        gateway->Connect(false);
    } else if (newStatus < Brenk::CONNECTED || newStatus > Brenk::FAULTED) {
        MUX_LOG(plog::verbose) << "Virtual gateway switched to an unsupported status.";
    }
}

bool BrenkMux::IsConfigured() const {
    return configured_;
}

std::shared_ptr<const GatewayCollections> BrenkMux::Gateways() const {
    return gateways_.With([](const std::shared_ptr<const GatewayCollections>& current) { return current; });
}

}  // namespace Mux
