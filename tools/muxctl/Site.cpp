#include "tools/muxctl/Site.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "json/FaultText.h"
#include "json/RapidJson.h"
#include "mux/configuration/MuxConfigurationParser.h"
#include "tools/muxctl/EnvironmentFile.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/NearestWord.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

namespace fs = std::filesystem;
using Mux::Configuration::MuxConfigurationData;
using Names = std::vector<std::string>;

MuxConfigurationData ParseConfiguration(const std::string& file) {
    const std::string text = ReadWholeFile(file);
    MuxConfigurationData configuration;
    try {
        if (!Mux::Configuration::MuxConfigurationParser().ParseText(text, configuration)) {
            throw UsageError(file + " " + Json::FaultText(text));
        }
    } catch (const Json::AssertionFailure&) {
        throw UsageError(file + " would end the Mux; check it with 'muxctl check-config'");
    }
    return configuration;
}

SiteGateway GatewayFrom(const Mux::Configuration::GatewayConfiguration& configured) {
    SiteGateway gateway = {configured.id, configured.description, {}};
    for (const auto& device : configured.devices) {
        gateway.locks.push_back({device.id, device.name});
    }
    return gateway;
}

std::uint16_t PortFrom(const std::string& file, const std::string& variable, const std::string& text) {
    const std::string fault = CheckPort(text);
    if (!fault.empty()) {
        throw UsageError(file + ": " + variable + " " + fault);
    }
    return static_cast<std::uint16_t>(std::stoi(text));
}

std::optional<std::uint16_t> PortIn(const Names& environment, const std::string& variable) {
    std::optional<std::uint16_t> port;
    for (const std::string& file : environment) {
        if (const std::optional<std::string> text = VariableInFile(file, variable)) {
            port = PortFrom(file, variable, *text);
        }
    }
    return port;
}

std::optional<std::string> TextIn(const Names& environment, const std::string& variable) {
    std::optional<std::string> text;
    for (const std::string& file : environment) {
        if (std::optional<std::string> found = VariableInFile(file, variable)) {
            text = std::move(found);
        }
    }
    return text;
}

std::optional<SiteEntrance> EntranceIn(const Names& environment) {
    const std::optional<std::string> authority = TextIn(environment, "MUX_TLS_CA");
    if (!authority) {
        return std::nullopt;
    }
    SiteEntrance entrance;
    entrance.host = TextIn(environment, "MUX_TLS_HOST");
    entrance.port = PortIn(environment, "MUX_TLS_PORT");
    entrance.tls.authority = *authority;
    entrance.tls.certificate = TextIn(environment, "MUX_TLS_CERT").value_or("");
    entrance.tls.key = TextIn(environment, "MUX_TLS_KEY").value_or("");
    return entrance;
}

// To follow an error text about `name`; empty if none of the names is near.
std::string HintAt(const std::string& name, const Names& names) {
    const std::string_view nearest = NearestWord(name, {names.begin(), names.end()});
    return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
}

// A gateway or lock that has the name which was asked for.
struct Found {
    MuxClient::LockAddress address;
    std::string text;
};

// The only one of those found. `kind` is what was looked for and `names` what there is.
const Found& OnlyOne(const std::vector<Found>& found, const std::string& kind, const std::string& name,
                     const Names& names) {
    // A script's empty variable must not choose a lock that has no name.
    if (name.empty()) {
        throw UsageError("the name of a " + kind + " must not be empty");
    }
    if (found.empty()) {
        throw UsageError("no " + kind + " is named \"" + name + "\"" + HintAt(name, names));
    }
    if (found.size() > 1) {
        std::string all;
        for (const Found& one : found) {
            all += (all.empty() ? "" : "; ") + one.text;
        }
        throw UsageError("several " + kind + "s are named \"" + name + "\": " + all);
    }
    return found.front();
}

// Refuses a lock that only other gateways have.
void RefuseLockOfOthers(const Site& site, const std::string& name, std::int32_t gateway) {
    for (const SiteGateway& other : site.gateways) {
        for (const SiteLock& lock : other.locks) {
            if (lock.name == name) {
                throw UsageError("gateway " + std::to_string(gateway) + " has no lock \"" + name + "\", but gateway " +
                                 std::to_string(other.id) + " has");
            }
        }
    }
}

}  // namespace

Names NamesOfSites(const std::string& folder) {
    Names sites;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.path().extension() == ".json") {
            sites.push_back(entry.path().stem().string());
        }
    }
    std::sort(sites.begin(), sites.end());
    return sites;
}

SiteSource SiteNamed(const std::string& name, const std::string& folder, const std::string& defaults) {
    if (name.empty() || name.find('/') != std::string::npos) {
        throw UsageError("--site must be the name of a site, not a path; --config takes a file");
    }
    const std::string base = folder + "/" + name;
    std::error_code error;
    if (fs::status(base + ".json", error).type() == fs::file_type::not_found) {
        throw UsageError("no site \"" + name + "\" in " + folder + HintAt(name, NamesOfSites(folder)));
    }
    return {base + ".json", {defaults, base + ".env"}};
}

std::string SiteOfConfiguration(const std::string& configuration, const std::string& folder) {
    std::error_code error;
    const fs::path path = fs::weakly_canonical(configuration, error);
    const bool isSite = !configuration.empty() && path.parent_path() == folder && path.extension() == ".json";
    return isSite ? path.stem().string() : "";
}

SiteSource SiteOfFile(const std::string& configuration) {
    const fs::path path = configuration;
    SiteSource source = {configuration, {}};
    if (path.parent_path() == kSitesFolder) {
        source.environment.emplace_back(kSitesDefaults);
    }
    if (path.extension() == ".json") {
        source.environment.push_back(fs::path(path).replace_extension(".env").string());
    }
    return source;
}

Site ReadSite(const SiteSource& source) {
    Site site;
    const MuxConfigurationData configuration = ParseConfiguration(source.configuration);
    std::transform(configuration.gateways.begin(), configuration.gateways.end(), std::back_inserter(site.gateways),
                   GatewayFrom);
    site.port = PortIn(source.environment, kPortName);
    site.entrance = EntranceIn(source.environment);
    return site;
}

std::int32_t FindGateway(const Site& site, const std::string& idOrName) {
    if (CheckId(idOrName).empty()) {
        return static_cast<std::int32_t>(std::stol(idOrName));
    }
    Names names;
    std::vector<Found> found;
    for (const SiteGateway& gateway : site.gateways) {
        names.push_back(gateway.name);
        if (gateway.name == idOrName) {
            found.push_back({{gateway.id, 0}, "gateway " + std::to_string(gateway.id)});
        }
    }
    return OnlyOne(found, "gateway", idOrName, names).address.gateway;
}

MuxClient::LockAddress FindLock(const Site& site, const std::string& name, std::optional<std::int32_t> gateway) {
    Names names;
    std::vector<Found> found;
    for (const SiteGateway& one : site.gateways) {
        if (gateway && one.id != *gateway) {
            continue;
        }
        for (const SiteLock& lock : one.locks) {
            names.push_back(lock.name);
            if (lock.name == name) {
                found.push_back(
                    {{one.id, lock.id}, "gateway " + std::to_string(one.id) + ", lock " + std::to_string(lock.id)});
            }
        }
    }
    if (found.empty() && gateway) {
        RefuseLockOfOthers(site, name, *gateway);
    }
    return OnlyOne(found, "lock", name, names).address;
}

std::string NameOfLockInEvent(const Site& site, std::int32_t gateway, std::int32_t lock) {
    Names names;
    for (const SiteGateway& one : site.gateways) {
        for (const SiteLock& candidate : one.locks) {
            if (one.id == gateway &&
                (static_cast<std::uint32_t>(candidate.id) & 0xFFFFU) == static_cast<std::uint32_t>(lock)) {
                names.push_back(candidate.name);
            }
        }
    }
    return names.size() == 1 ? names.front() : "";
}

}  // namespace Muxctl
