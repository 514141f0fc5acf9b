#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Request.h"
#include "tools/muxctl/Site.h"

namespace Muxctl {

// Gateways and locks as people give them: by ID, in decimal, or with a site by name. A number is always an ID, even if
// something has it for its name. Any thread may call these functions.

// The parts of a list such as "5,Front door". A comma at the end begins an empty one.
std::vector<std::string> PartsOf(const std::string& list);

// Where a text comes from, to begin the fault of one that is not even an ID: "--lock: ", or "lock " of a column.
using Source = const char*;

// Throw UsageError with the fault: a name without a site, a name that the site does not have, or has several times. A
// lock's ID needs the gateway; its name need not have one if it is the only one of the site.
std::int32_t GatewayNamed(const std::optional<Site>& site, Source source, const std::string& idOrName);
MuxClient::LockAddress LockNamed(const std::optional<Site>& site, Source source, const std::string& idOrName,
                                 std::optional<std::int32_t> gateway);

// What is wrong with a text whatever the gateway: that it is a name, and there is no site. Empty otherwise.
std::string NameFault(const std::optional<Site>& site, Source source, const std::string& idOrName);

}  // namespace Muxctl
