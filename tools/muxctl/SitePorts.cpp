#include "tools/muxctl/SitePorts.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <tuple>

#include "tools/client/Client.h"
#include "tools/muxctl/EnvironmentFile.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

namespace fs = std::filesystem;

// When a site was enabled, with its name for two that were enabled at the same time.
using EnabledAt = std::tuple<std::time_t, long, std::string>;

// Nothing for a site that is not enabled. The link's own time counts, not that of the unit it points to.
std::optional<EnabledAt> EnablingOf(const std::string& site, const SitePlaces& places) {
    struct stat link = {};
    const std::string path = places.enabled + "/dw-hal-mux-brenk@" + site + ".service";
    if (lstat(path.c_str(), &link) != 0) {
        return std::nullopt;
    }
    return EnabledAt(link.st_mtim.tv_sec, link.st_mtim.tv_nsec, site);
}

}  // namespace

SitePort PortFrom(const std::string& value) {
    const std::string fault = CheckPort(value);
    if (!fault.empty()) {
        return {std::nullopt, fault + "; the Mux may exit after every start"};
    }
    return {static_cast<std::uint16_t>(std::stoi(value)), ""};
}

SitePort PortOf(const std::string& site, const SitePlaces& places) {
    try {
        for (const std::string& file : {(fs::path(places.folder) / (site + ".env")).string(), places.defaults}) {
            if (const std::optional<std::string> value = VariableInFile(file, kPortName)) {
                return PortFrom(*value);
            }
        }
    } catch (const UsageError& error) {
        return {std::nullopt, std::string("cannot be determined: ") + error.what()};
    }
    return {MuxClient::MuxAddress().port, ""};
}

std::optional<std::string> SiteBefore(const std::string& site, std::uint16_t port, const SitePlaces& places) {
    const std::optional<EnabledAt> enabledAt = EnablingOf(site, places);
    for (const std::string& other : NamesOfSites(places.folder)) {
        const std::optional<EnabledAt> otherAt = EnablingOf(other, places);
        const bool isBefore = otherAt && (!enabledAt || *otherAt < *enabledAt);
        if (other != site && isBefore && PortOf(other, places).port == port) {
            return other;
        }
    }
    return std::nullopt;
}

std::string ForeignPortText(const std::string& site, std::uint16_t port, const SitePlaces& places) {
    const std::optional<std::string> owner = SiteBefore(site, port, places);
    return owner ? "port " + std::to_string(port) + " belongs to the site " + *owner + ", which was enabled before " +
                       site
                 : "";
}

PortComparison::PortComparison(const std::vector<std::string>& sites, const SitePlaces& places) {
    for (const std::string& site : sites) {
        ports_[site] = PortOf(site, places);
    }
}

void PortComparison::AddFindings(const std::string& site, ConfigurationReport& report) const {
    const SitePort& own = ports_.at(site);
    if (!own.port) {
        report.findings.push_back({Finding::Level::kWarning, kPortName, own.fault});
        return;
    }
    for (const auto& [other, port] : ports_) {
        if (other != site && port.port == own.port) {
            report.findings.push_back({Finding::Level::kError, kPortName,
                                       "is " + std::to_string(*own.port) + ", as for the site " + other +
                                           "; only the one that was enabled first is started"});
            report.isUsable = false;
        }
    }
}

}  // namespace Muxctl
