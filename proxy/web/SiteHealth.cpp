#include "proxy/web/SiteHealth.h"

#include <vector>

#include "proxy/requests/JsonObject.h"

namespace MuxProxy {
namespace {

using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;

std::string NumberOrNull(const std::optional<std::uint64_t>& number) {
    return number ? std::to_string(*number) : "null";
}

}  // namespace

std::string SiteHealth::Text(std::chrono::system_clock::time_point now,
                             const std::function<bool(std::int32_t)>& seesGateway) const {
    std::vector<std::string> gatewayTexts;
    for (const auto& [number, gateway] : gateways) {
        if (seesGateway(number)) {
            gatewayTexts.push_back(JsonObject()
                                       .Number("gateway", number)
                                       .Text("name", gateway.name)
                                       .Number("queue", static_cast<std::int64_t>(gateway.queue))
                                       .Flag("silent", gateway.isSilent)
                                       .Json());
        }
    }
    JsonObject brokerText;
    if (broker) {
        brokerText.Flag("connected", broker->isConnected).Number("waiting", static_cast<std::int64_t>(broker->waiting));
    }
    JsonObject certificates;
    for (const auto& [name, end] : ends) {
        certificates.Number(name, std::chrono::floor<Days>(end - now).count());
    }
    JsonObject audit;
    audit.Flag("writable", isAuditWritable)
        .Value("rows", NumberOrNull(auditRows))
        .Number("bytes", static_cast<std::int64_t>(auditBytes))
        .Number("limit", static_cast<std::int64_t>(auditLimit))
        .Value("free", NumberOrNull(freeBytes));
    return JsonObject()
        .Flag("mux", isMuxReady)
        .Values("gateways", gatewayTexts)
        .Value("broker", broker ? brokerText.Json() : "null")
        .Object("certificates", certificates)
        .Object("audit", audit)
        .Json();
}

}  // namespace MuxProxy
