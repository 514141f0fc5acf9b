#include "tools/muxctl/SitePorts.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <limits>
#include <sstream>
#include <tuple>
#include <utility>

#include "tools/client/Client.h"
#include "tools/muxctl/EnvironmentFile.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

namespace fs = std::filesystem;

// When a link was made, with its site for two that were made at the same time.
using MadeAt = std::tuple<std::time_t, long, std::string>;

// Nothing without a link. Its own time counts, not that of what it points to.
std::optional<MadeAt> TimeOfLink(const std::string& path, const std::string& site) {
    struct stat link = {};
    if (lstat(path.c_str(), &link) != 0) {
        return std::nullopt;
    }
    return MadeAt(link.st_mtim.tv_sec, link.st_mtim.tv_nsec, site);
}

// What systemd knows of a site.
struct UnitTimes {
    UnitTimes(const std::string& site, const SitePlaces& places)
        : enabled(TimeOfLink(places.enabled + "/dw-hal-mux-brenk@" + site + ".service", site)),
          started(TimeOfLink(places.running + "/invocation:dw-hal-mux-brenk@" + site + ".service", site)) {}

    // Whether it keeps a port that both have.
    bool IsBefore(const UnitTimes& other) const {
        if (enabled && other.enabled) {
            return *enabled < *other.enabled;
        }
        if (started) {
            return !other.started || *started < *other.started;
        }
        return enabled && !other.started;
    }

    std::optional<MadeAt> enabled;
    std::optional<MadeAt> started;
};

const std::uint16_t kStandardPort = MuxClient::MuxAddress().port;

struct NumberAtBeginning {
    std::int32_t value;
    // Whether nothing follows it.
    bool isAll;
};

// An option without a value counts as left out.
NumberAtBeginning ReadAsTheMux(const std::string& value) {
    if (value.empty()) {
        return {kStandardPort, false};
    }
    NumberAtBeginning number = {0, false};
    std::istringstream stream(value);
    stream >> number.value;
    number.isAll = (stream >> std::ws).eof();
    return number;
}

bool IsPort(std::int32_t number) {
    return number > 0 && number <= std::numeric_limits<std::uint16_t>::max();
}

}  // namespace

SitePort PortFrom(const std::string& value) {
    const std::string fault = CheckPort(value);
    if (fault.empty()) {
        return {static_cast<std::uint16_t>(std::stoi(value)), {}};
    }
    const NumberAtBeginning number = ReadAsTheMux(value);
    const std::string effect =
        IsPort(number.value) ? "listen on port " + std::to_string(number.value) : "exit after every start";
    const std::string text = fault + ", with which the Mux would " + effect;
    if (IsPort(number.value) && number.isAll) {
        return {static_cast<std::uint16_t>(number.value), {{Finding::Level::kWarning, kPortName, text}}};
    }
    return {std::nullopt, {{Finding::Level::kError, kPortName, text + "; the Mux is not started"}}};
}

SitePort PortOf(const std::string& site, const SitePlaces& places) {
    try {
        for (const std::string& file : {(fs::path(places.folder) / (site + ".env")).string(), places.defaults}) {
            if (const std::optional<std::string> value = VariableInFile(file, kPortName)) {
                return PortFrom(*value);
            }
        }
    } catch (const UsageError& error) {
        return {std::nullopt,
                {{Finding::Level::kWarning, kPortName, std::string("cannot be determined: ") + error.what()}}};
    }
    return {kStandardPort, {}};
}

std::optional<std::string> SiteBefore(const std::string& site, std::uint16_t port, const SitePlaces& places) {
    const UnitTimes times(site, places);
    for (const std::string& other : NamesOfSites(places.folder)) {
        if (other != site && UnitTimes(other, places).IsBefore(times) && PortOf(other, places).port == port) {
            return other;
        }
    }
    return std::nullopt;
}

std::string ForeignPortText(const std::string& site, std::uint16_t port, const SitePlaces& places) {
    const std::optional<std::string> owner = SiteBefore(site, port, places);
    return owner ? "port " + std::to_string(port) + " belongs to the site " + *owner + ", which comes before " + site
                 : "";
}

Finding PortRefusal(std::uint16_t port, const std::string& before) {
    return {Finding::Level::kError, kPortName,
            "is " + std::to_string(port) + ", as for the site " + before +
                ", which comes before; clients of one could open doors of the other; the Mux is not started"};
}

PortComparison::PortComparison(const std::vector<std::string>& sites, SitePlaces places) : places_(std::move(places)) {
    for (const std::string& site : sites) {
        ports_[site] = PortOf(site, places_);
    }
}

void PortComparison::AddFindings(const std::string& site, ConfigurationReport& report) const {
    const SitePort& own = ports_.at(site);
    Findings findings = own.findings;
    if (own.port) {
        AddConflicts(site, *own.port, findings);
    }
    report.isUsable = report.isUsable && !HasError(findings);
    report.findings.insert(report.findings.end(), findings.begin(), findings.end());
}

void PortComparison::AddConflicts(const std::string& site, std::uint16_t port, Findings& findings) const {
    if (const std::optional<std::string> before = SiteBefore(site, port, places_)) {
        findings.push_back(PortRefusal(port, *before));
        return;
    }
    for (const auto& [other, otherPort] : ports_) {
        if (other == site || otherPort.port != port) {
            continue;
        }
        const std::string conflict = "is " + std::to_string(port) + ", as for the site " + other;
        if (SiteBefore(other, port, places_)) {
            findings.push_back({Finding::Level::kWarning, kPortName, conflict + ", which is not started"});
        } else {
            findings.push_back(
                {Finding::Level::kError, kPortName, conflict + "; only the one that is enabled first is started"});
        }
    }
}

}  // namespace Muxctl
