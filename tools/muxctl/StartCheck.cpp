#include "tools/muxctl/StartCheck.h"

#include <filesystem>

namespace Muxctl {
namespace {

void AddRefusal(const std::string& where, const std::string& text, ConfigurationReport& report) {
    report.findings.push_back({Finding::Level::kError, where, text + "; the Mux is not started"});
}

}  // namespace

bool MayStart(const std::string& path, const std::optional<std::string>& port, const SitePlaces& places,
              ConfigurationReport& report) {
    const std::string site = std::filesystem::path(path).stem().string();
    const SitePort own = port ? PortFrom(*port) : PortOf(site, places);
    const std::optional<std::string> before = own.port ? SiteBefore(site, *own.port, places) : std::nullopt;
    if (!own.port) {
        report.findings.push_back({Finding::Level::kWarning, kPortName, own.fault});
    }
    if (before) {
        AddRefusal(kPortName,
                   "is " + std::to_string(*own.port) + ", as for the site " + *before +
                       ", which was enabled before; clients of one could open doors of the other",
                   report);
    }
    if (report.createdCount == 0) {
        AddRefusal("", "gives no gateway", report);
    }
    return !before && report.createdCount != 0;
}

}  // namespace Muxctl
