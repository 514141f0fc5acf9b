#include "tools/muxctl/LockNames.h"

#include <sstream>

#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

bool IsId(const std::string& text) {
    return CheckId(text).empty();
}

void RefuseNameWithoutSite(const std::optional<Site>& site, Source source, const std::string& idOrName) {
    const std::string fault = NameFault(site, source, idOrName);
    if (!fault.empty()) {
        throw UsageError(fault);
    }
}

}  // namespace

std::vector<std::string> PartsOf(const std::string& list) {
    std::vector<std::string> parts;
    std::istringstream stream(list + ",");
    for (std::string part; std::getline(stream, part, ',');) {
        parts.push_back(part);
    }
    return parts;
}

std::string NameFault(const std::optional<Site>& site, Source source, const std::string& idOrName) {
    return site || IsId(idOrName) ? "" : source + CheckId(idOrName) + "; a name requires --site or --config";
}

std::int32_t GatewayNamed(const std::optional<Site>& site, Source source, const std::string& idOrName) {
    RefuseNameWithoutSite(site, source, idOrName);
    return FindGateway(site.value_or(Site()), idOrName);
}

MuxClient::LockAddress LockNamed(const std::optional<Site>& site, Source source, const std::string& idOrName,
                                 std::optional<std::int32_t> gateway) {
    RefuseNameWithoutSite(site, source, idOrName);
    if (!IsId(idOrName)) {
        return FindLock(*site, idOrName, gateway);
    }
    if (!gateway) {
        throw UsageError(source + idOrName + " is an ID, which requires --gateway");
    }
    return {*gateway, static_cast<std::int32_t>(std::stol(idOrName))};
}

}  // namespace Muxctl
