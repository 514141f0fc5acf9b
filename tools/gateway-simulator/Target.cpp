#include "tools/gateway-simulator/Target.h"

namespace Simulator {

std::string DescribeTarget(const Target& target) {
    const GatewayStatus status = target.gateway.Status();
    const std::size_t locks = status.locks.size();
    return std::to_string(target.id) + ": " + AddressText(target.host, status.port) + ", " +
           (status.connected ? "connected" : "not connected") + ", " + std::to_string(locks) +
           (locks == 1 ? " lock" : " locks") + (target.name.empty() ? "" : ", " + target.name);
}

std::string AddressText(const std::string& host, std::uint16_t port) {
    const bool isVersionSix = host.find(':') != std::string::npos;
    return (isVersionSix ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace Simulator
