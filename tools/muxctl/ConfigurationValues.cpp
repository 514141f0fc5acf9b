#include "tools/muxctl/ConfigurationValues.h"

#include <map>
#include <string_view>
#include <utility>

#include "tools/muxctl/HostText.h"

namespace Muxctl {
namespace {

using Mux::Configuration::GatewayConfiguration;
using Mux::Configuration::MuxConfigurationData;

constexpr std::int32_t kLargestPort = 65535;
constexpr std::int32_t kLargestIdInEvents = 65535;
// What stands there in place of a lock answers with the gateway's counter.
constexpr std::int32_t kCounterId = 256;

std::string ElementName(const std::string& list, std::size_t index) {
    return list + "[" + std::to_string(index) + "]";
}

// Where each key of a list was seen first.
template <typename Key>
class FirstSeen {
  public:
    // The lowest index that was asked for this key; `index` itself when that is the first.
    std::size_t IndexOf(const Key& key, std::size_t index) { return indexes_.try_emplace(key, index).first->second; }

  private:
    std::map<Key, std::size_t> indexes_;
};

// Address and port. Looks at the configuration.
using Endpoint = std::pair<std::string_view, std::int32_t>;

class ValueCheck {
  public:
    explicit ValueCheck(const MuxConfigurationData& configuration) : configuration_(configuration) {}

    Findings Run() {
        if (!configuration_.enabled) {
            Warn("Enabled", std::string("is not true; ") + kNothingWorks);
        }
        if (configuration_.gateways.empty()) {
            Warn("Gateways", std::string("has no gateway; ") + kNothingWorks);
        }
        for (std::size_t index = 0; index < configuration_.gateways.size(); ++index) {
            CheckGateway(index);
        }
        return std::move(findings_);
    }

  private:
    void Warn(const std::string& where, const std::string& text) {
        findings_.push_back({Finding::Level::kWarning, where, text});
    }

    // What the Mux cannot connect to ends it, once it tries.
    void AddWarning(const GatewayConfiguration& gateway, const std::string& where, const std::string& text) {
        if (IsCreated(configuration_, gateway)) {
            findings_.push_back(
                {Finding::Level::kError, where, text + "; the Mux would exit after every start, and no door works"});
        } else {
            Warn(where, text + "; the Mux leaves this gateway out anyway");
        }
    }

    void CheckGateway(std::size_t index) {
        const GatewayConfiguration& gateway = configuration_.gateways.at(index);
        const std::string name = ElementName("Gateways", index);
        CheckAddress(gateway, name + ".IpAddress");
        CheckPort(gateway, name + ".Port");
        CheckAgainstOthers(gateway, index, name);
        FirstSeen<std::int32_t> deviceIds;
        for (std::size_t device = 0; device < gateway.devices.size(); ++device) {
            const std::int32_t id = gateway.devices.at(device).id;
            CheckDevice(id, device, deviceIds.IndexOf(id, device), name);
        }
    }

    void CheckAddress(const GatewayConfiguration& gateway, const std::string& where) {
        if (gateway.ipAddress.empty()) {
            Warn(where, std::string("is empty; ") + kGatewayLeftOut);
        } else if (!CanBeHost(gateway.ipAddress)) {
            AddWarning(gateway, where, "is \"" + gateway.ipAddress + "\", neither an address nor a host name");
        }
    }

    void CheckPort(const GatewayConfiguration& gateway, const std::string& where) {
        if (gateway.port == 0) {
            Warn(where, std::string("is 0; ") + kGatewayLeftOut);
        } else if (gateway.port < 0 || gateway.port > kLargestPort) {
            AddWarning(gateway, where, "is " + std::to_string(gateway.port) + ", which is not a TCP port");
        }
    }

    void CheckAgainstOthers(const GatewayConfiguration& gateway, std::size_t index, const std::string& name) {
        const std::size_t sameId = ids_.IndexOf(gateway.id, index);
        if (sameId != index) {
            Warn(name + ".ID", "is " + std::to_string(gateway.id) + ", like " + ElementName("Gateways", sameId) +
                                   ", which gets all its requests; the doors of this gateway do not work");
        }
        const std::size_t sameAddress = endpoints_.IndexOf({gateway.ipAddress, gateway.port}, index);
        if (sameAddress != index && !gateway.ipAddress.empty()) {
            Warn(name, "has the address and port of " + ElementName("Gateways", sameAddress) +
                           "; the Mux connects to it twice, and requests may go unanswered");
        }
    }

    void CheckDevice(std::int32_t id, std::size_t index, std::size_t same, const std::string& gateway) {
        const std::string name = gateway + "." + ElementName("Devices", index) + ".ID";
        if (same != index) {
            Warn(name, "is " + std::to_string(id) + ", like " + ElementName("Devices", same) +
                           " of this gateway; its door works");
        }
        if (id == kCounterId) {
            Warn(name, "is 256, which is reserved for the Mux's questions to the gateway; no door has it");
        }
        if (id < 0 || id > kLargestIdInEvents) {
            const auto idInEvents = static_cast<std::uint16_t>(static_cast<std::uint32_t>(id) & 0xFFFFU);
            Warn(name, "is " + std::to_string(id) + "; events have only its low 16 bits and name lock " +
                           std::to_string(idInEvents));
        }
    }

    const MuxConfigurationData& configuration_;
    FirstSeen<std::int32_t> ids_;
    FirstSeen<Endpoint> endpoints_;
    Findings findings_;
};

}  // namespace

bool IsCreated(const MuxConfigurationData& configuration, const GatewayConfiguration& gateway) {
    return configuration.enabled && !gateway.ipAddress.empty() && gateway.port != 0;
}

Findings CheckValues(const MuxConfigurationData& configuration) {
    return ValueCheck(configuration).Run();
}

}  // namespace Muxctl
