#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/Site.h"

namespace Muxctl {

// The ports of all sites of a host. Two sites on one port both start, and the kernel distributes clients between them:
// a request could open a door of the other site. Any thread may call these functions.

// Where the sites of a host are described.
struct SitePlaces {
    // With the configuration and environment file of each site.
    std::string folder = kSitesFolder;
    // The environment file of all sites.
    std::string defaults = kSitesDefaults;
    // With a link for each site that is started with the host.
    std::string enabled = "/etc/systemd/system/multi-user.target.wants";
    // With a link for each unit that runs, made when it was started (systemd 240 and newer).
    std::string running = "/run/systemd/units";
};

struct SitePort {
    // Nothing if the unit does not start the Mux with it, or it cannot be determined.
    std::optional<std::uint16_t> port;
    // What is wrong with it.
    Findings findings;
};

// The port from the value of MUX_PORT, of which the Mux reads the number at its beginning. One that is written oddly is
// a warning; one with which the Mux exits, or listens on another port than somebody meant, is an error.
SitePort PortFrom(const std::string& value);

// The port from a site's environment files; the Mux's default if they set none.
SitePort PortOf(const std::string& site, const SitePlaces& places);

// A site other than `site` on this port that keeps it: of two enabled ones the one that was enabled first; else one
// that runs, and did so before `site`; else one that is enabled while `site` neither is nor runs. Nothing if there is
// none.
std::optional<std::string> SiteBefore(const std::string& site, std::uint16_t port, const SitePlaces& places);

// Why a site cannot be reached on this port: "port 5555 belongs to the site hall, which comes before annex".
// Empty if the port is its own.
std::string ForeignPortText(const std::string& site, std::uint16_t port, const SitePlaces& places);

// The error of a site whose port another keeps.
Finding PortRefusal(std::uint16_t port, const std::string& before);

// The ports of these sites, looked at together. Adds to the report of a site what is wrong with its port: that it is
// none, cannot be determined or is that of another site. The site that keeps a port gets a warning only; while none of
// several is enabled, each gets an error.
class PortComparison {
  public:
    PortComparison(const std::vector<std::string>& sites, SitePlaces places);

    void AddFindings(const std::string& site, ConfigurationReport& report) const;

  private:
    void AddConflicts(const std::string& site, std::uint16_t port, Findings& findings) const;

    SitePlaces places_;
    std::map<std::string, SitePort> ports_;
};

}  // namespace Muxctl
