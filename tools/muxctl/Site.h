#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Client.h"
#include "tools/client/Request.h"

namespace Muxctl {

// A site as its files describe it: the gateways and locks of a Mux configuration with their names, and the port of the
// Mux that runs with it. Values; any thread may call the functions.

struct SiteLock {
    std::int32_t id = 0;
    // Empty for a lock without a name.
    std::string name;
};

struct SiteGateway {
    std::int32_t id = 0;
    // Its description in the configuration; may be empty.
    std::string name;
    std::vector<SiteLock> locks;
};

// How a site's proxy is reached.
struct SiteEntrance {
    // Nothing for those that the command line has by default.
    std::optional<std::string> host;
    std::optional<std::uint16_t> port;
    MuxClient::TlsSettings tls;
};

struct Site {
    // Nothing when no file sets it; the Mux then listens on its default port.
    std::optional<std::uint16_t> port;
    // In the order of the configuration, those included that the Mux leaves out.
    std::vector<SiteGateway> gateways;
    // When a file sets MUX_TLS_CA.
    std::optional<SiteEntrance> entrance;
};

// The files of a site.
struct SiteSource {
    // The Mux configuration.
    std::string configuration;
    // Environment files as the systemd unit reads them: each overrides those before it, and one that does not exist
    // sets nothing.
    std::vector<std::string> environment;
};

// Where the systemd unit finds the sites, and the options of all.
constexpr const char* kSitesFolder = "/etc/dw-hal-mux";
constexpr const char* kSitesDefaults = "/etc/default/dw-hal-mux-brenk";

// The variable of the environment files that sets the port.
constexpr const char* kPortName = "MUX_PORT";

// The names of the sites that have a configuration in the folder, in alphabetical order; none if it cannot be read.
std::vector<std::string> NamesOfSites(const std::string& folder);

// The files of the site with this name. Throws UsageError if there is no such site, with the nearest that there is.
SiteSource SiteNamed(const std::string& name, const std::string& folder = kSitesFolder,
                     const std::string& defaults = kSitesDefaults);

// The name of the site whose configuration this file is; empty for a file elsewhere than in the folder of the sites.
std::string SiteOfConfiguration(const std::string& configuration, const std::string& folder = kSitesFolder);

// A configuration file with the environment file beside it; in the folder of the sites also with the options of all.
SiteSource SiteOfFile(const std::string& configuration);

// Reads the files. Throws UsageError with the file and the reason if one cannot be read, is not a configuration that
// the Mux can use, or sets a port that is none.
Site ReadSite(const SiteSource& source);

// The gateway with this ID, in decimal, or this name. IDs come first and need not be in the site. Throws UsageError if
// no gateway has the name, with the nearest name, or if several have it.
std::int32_t FindGateway(const Site& site, const std::string& idOrName);

// The lock with this name, among those of one gateway if one is given. Names must match in every character: a wrong
// door must not open. Throws UsageError if no lock has the name, with the nearest name, or if several have it.
MuxClient::LockAddress FindLock(const Site& site, const std::string& name,
                                std::optional<std::int32_t> gateway = std::nullopt);

// The name of a lock by its numbers in an event, which has only the low 16 bits of its address; empty without a name,
// or if several locks share the numbers.
std::string NameOfLockInEvent(const Site& site, std::int32_t gateway, std::int32_t lock);

}  // namespace Muxctl
