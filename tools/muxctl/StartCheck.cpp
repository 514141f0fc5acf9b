#include "tools/muxctl/StartCheck.h"

#include <algorithm>
#include <filesystem>

namespace Muxctl {
namespace {

// In place of what the check has said.
void RefuseWithoutGateway(Findings& findings) {
    const auto isSaid = [](const Finding& finding) { return finding.text.rfind(kNoGateway, 0) == 0; };
    findings.erase(std::remove_if(findings.begin(), findings.end(), isSaid), findings.end());
    findings.push_back({Finding::Level::kError, "", kNoGateway + std::string("; the Mux is not started")});
}

}  // namespace

bool MayStart(const std::string& path, const std::optional<std::string>& port, const SitePlaces& places,
              ConfigurationReport& report) {
    const std::string site = std::filesystem::path(path).stem().string();
    const SitePort own = port ? PortFrom(*port) : PortOf(site, places);
    const std::optional<std::string> before = own.port ? SiteBefore(site, *own.port, places) : std::nullopt;
    report.findings.insert(report.findings.end(), own.findings.begin(), own.findings.end());
    if (before) {
        report.findings.push_back(PortRefusal(*own.port, *before));
    }
    if (report.createdCount == 0) {
        RefuseWithoutGateway(report.findings);
    }
    return !before && !HasError(own.findings) && report.createdCount != 0;
}

}  // namespace Muxctl
