// Configurations, read and applied, and what becomes of a gateway whose state changes.

#include <fstream>
#include <sstream>
#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/TextReading.h"
#include "mux/BrenkMux.h"
#include "mux/configuration/MuxConfigurationParser.h"
#include "mux/messages/RequestPayloads.h"
#include "threading/CatchAll.h"

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
    gateways_.Enable(configuration.enabled);
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
    gateways_.Enable(configuration.enabled);
    InitVirtualGateways(std::move(configuration));
    return true;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): every line that it logs begins with this signature
void BrenkMux::InitVirtualGateways(MuxConfigurationData configuration) {
    MUX_OPERATION();
    gateways_.Apply(configuration);
}

std::size_t BrenkMux::DescriptorsForGateways(void* context) {
    return static_cast<BrenkMux*>(context)->gateways_.CountUnconnected();
}

void BrenkMux::ConnectVirtualGateways() {
    MUX_OPERATION();
    gateways_.ConnectAll();
}

void BrenkMux::VirtualGatewayStateChangedCallback(VirtualGateway* gateway, VirtualGatewayStatuses oldStatus,
                                                  VirtualGatewayStatuses newStatus, void* context) {
    MUX_OPERATION();
    if (context == nullptr || gateway == nullptr) {
        return;
    }
    Threading::CatchAll(
        [&] {
            MUX_LOG(plog::info) << "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway " << gateway->ID()
                                << " changed state from " << NameOf(oldStatus) << " to state " << NameOf(newStatus);
        },
        [](const char* /*text*/) { MUX_LOG(plog::error) << "Error in logging."; });
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
    return gateways_.IsConfigured();
}

std::shared_ptr<const GatewayCollections> BrenkMux::Gateways() const {
    return gateways_.Current();
}

}  // namespace Mux
