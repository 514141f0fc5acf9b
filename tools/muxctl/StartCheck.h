#pragma once

#include <optional>
#include <string>

#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/SitePorts.h"

namespace Muxctl {

// Decides whether the systemd unit may start the Mux with this configuration file. One bad gateway must not keep the
// doors of all others locked, so only a file that gives no gateway at all is refused; and one whose port another site
// keeps, see SiteBefore(). `port` is the value of MUX_PORT in the unit; without one it is read from the environment
// files. Adds to the report what is wrong with the port, and why the start is refused. Any thread may call it.
bool MayStart(const std::string& path, const std::optional<std::string>& port, const SitePlaces& places,
              ConfigurationReport& report);

}  // namespace Muxctl
