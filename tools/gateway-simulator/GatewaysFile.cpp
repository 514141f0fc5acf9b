#include "tools/gateway-simulator/GatewaysFile.h"

#include <array>
#include <filesystem>
#include <limits>
#include <set>
#include <system_error>

#include "tools/gateway-simulator/TextFile.h"
#include "tools/json/JsonFile.h"

namespace Simulator {
namespace {

using Tools::JsonNode;

constexpr std::int64_t kLeastId = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kGreatestId = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kGreatestPort = std::numeric_limits<std::uint16_t>::max();
constexpr std::int64_t kGreatestCounter = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kGreatestCapacity = 1'000'000;
constexpr std::int64_t kGreatestBatteryValue = 3;

struct FlagMember {
    const char* name;
    Lock::StatusFlag flag;
};

constexpr std::array<FlagMember, 3> kFlagMembers = {{
    {"MechanicalActive", Lock::StatusFlag::kMechanicalActive},
    {"BatteryWarning", Lock::StatusFlag::kBatteryWarning},
    {"BatteryAlarm", Lock::StatusFlag::kBatteryAlarm},
}};

std::uint8_t ReadBatteryValue(const JsonNode& device, const char* name) {
    return static_cast<std::uint8_t>(device.NumberOr(name, kGreatestBatteryValue, 0, kGreatestBatteryValue));
}

Lock ReadLock(const JsonNode& device, std::size_t capacity) {
    device.AllowMembers(
        {"ID", "Name", "Open", "BatteryStatus", "BatteryLevel", "MechanicalActive", "BatteryWarning", "BatteryAlarm"});
    Lock lock(static_cast<std::uint32_t>(device.Required("ID").Number(kLeastId, kGreatestId)), capacity);
    lock.SetBattery(ReadBatteryValue(device, "BatteryStatus"), ReadBatteryValue(device, "BatteryLevel"));
    for (const FlagMember& member : kFlagMembers) {
        lock.SetFlag(member.flag, device.BooleanOr(member.name, false));
    }
    if (device.BooleanOr("Open", false)) {
        lock.Open();
    }
    return lock;
}

void ReadLocks(const JsonNode& node, GatewayDescription& gateway) {
    for (const JsonNode& device : node.Elements("Devices")) {
        const Lock lock = ReadLock(device, gateway.options.whitelistCapacity);
        if (!gateway.lockNames.emplace(lock.Address(), device.TextOr("Name", "")).second) {
            device.Refuse("has the ID of another lock of its gateway");
        }
        gateway.options.preparedLocks.push_back(lock);
    }
}

std::string ReadAddress(const JsonNode& node, const std::string& host) {
    std::string address = node.TextOr("IpAddress", SimulatorOptions().host);
    if (!host.empty()) {
        return host;
    }
    if (address.empty()) {
        node.Required("IpAddress").Refuse("must be an address or a host name");
    }
    return address;
}

std::string ReadWhitelistFile(const JsonNode& node, const std::string& path) {
    const std::string name = node.TextOr("WhitelistFile", "");
    return name.empty() ? name : (std::filesystem::path(path).parent_path() / name).string();
}

GatewayDescription ReadGateway(const JsonNode& node, const std::string& path, const std::string& host) {
    node.AllowMembers(
        {"ID", "Description", "IpAddress", "Port", "Devices", "Counter", "WhitelistCapacity", "WhitelistFile"});
    GatewayDescription gateway;
    SimulatorOptions& options = gateway.options;
    gateway.id = static_cast<std::int32_t>(node.Required("ID").Number(kLeastId, kGreatestId));
    gateway.name = node.TextOr("Description", "");
    options.host = ReadAddress(node, host);
    options.port = static_cast<std::uint16_t>(node.NumberOr("Port", kGatewayPort, 0, kGreatestPort));
    options.counter = static_cast<std::uint32_t>(node.NumberOr("Counter", options.counter, 0, kGreatestCounter));
    options.whitelistCapacity = static_cast<std::size_t>(
        node.NumberOr("WhitelistCapacity", static_cast<std::int64_t>(Lock::kDefaultCapacity), 0, kGreatestCapacity));
    gateway.whitelistFile = ReadWhitelistFile(node, path);
    ReadLocks(node, gateway);
    return gateway;
}

// The same for all names of a file.
std::filesystem::path OneNameOf(const std::string& file) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(file, error);
    const std::filesystem::path name = std::filesystem::weakly_canonical(whole, error);
    return error ? whole.lexically_normal() : name;
}

// What two gateways must not share.
class UniquenessCheck {
  public:
    void Take(const JsonNode& node, const GatewayDescription& gateway) {
        if (!ids_.insert(gateway.id).second) {
            node.Refuse("has the ID of another gateway");
        }
        if (!gateway.whitelistFile.empty() && !files_.insert(OneNameOf(gateway.whitelistFile)).second) {
            node.Refuse("has the WhitelistFile of another gateway");
        }
    }

  private:
    std::set<std::int32_t> ids_;
    std::set<std::filesystem::path> files_;
};

std::vector<GatewayDescription> ReadRoot(const JsonNode& root, const std::string& path, const std::string& host) {
    root.AllowMembers({"Enabled", "Gateways"});
    // Says whether the Mux is to connect, and is of no matter here.
    root.BooleanOr("Enabled", true);
    std::vector<GatewayDescription> gateways;
    UniquenessCheck taken;
    for (const JsonNode& node : root.Elements("Gateways")) {
        gateways.push_back(ReadGateway(node, path, host));
        taken.Take(node, gateways.back());
    }
    if (gateways.empty()) {
        root.Refuse("must have a gateway in \"Gateways\"");
    }
    return gateways;
}

}  // namespace

std::vector<GatewayDescription> LoadGateways(const std::string& path, const std::string& host) {
    return ReadGateways(path, ReadTextFile(path), host);
}

std::vector<GatewayDescription> ReadGateways(const std::string& path, const std::string& text,
                                             const std::string& host) {
    std::vector<GatewayDescription> gateways;
    Tools::ReadJson(path, text, [&](const JsonNode& root) { gateways = ReadRoot(root, path, host); });
    return gateways;
}

}  // namespace Simulator
