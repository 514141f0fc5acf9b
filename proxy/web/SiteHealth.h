#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "proxy/configuration/MuxLocks.h"

namespace MuxProxy {

struct GatewayHealth {
    std::string name;
    std::size_t queue = 0;
    bool isSilent = false;
};

struct BrokerHealth {
    bool isConnected = false;
    std::uint64_t waiting = 0;
};

// What the proxy knows of itself and of what it depends on. A value.
struct SiteHealth {
    bool isMuxReady = false;
    std::map<std::int32_t, GatewayHealth> gateways;
    // Nothing for a site without one.
    std::optional<BrokerHealth> broker;
    // By name: "server", "authority", "revocation-list".
    std::map<std::string, std::chrono::system_clock::time_point> ends;
    bool isAuditWritable = true;
    // Nothing until it is known.
    std::optional<std::uint64_t> auditRows;
    std::uint64_t auditBytes = 0;
    std::uint64_t auditLimit = 0;
    // Of the audit's file system.
    std::optional<std::uint64_t> freeBytes;

    // The event "health" without its time, with the gateways that `seesGateway` names.
    std::string Text(std::chrono::system_clock::time_point now,
                     const std::function<bool(std::int32_t)>& seesGateway) const;
};

}  // namespace MuxProxy
