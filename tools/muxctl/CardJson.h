#pragma once

#include <string>

#include "tools/muxctl/CardFile.h"

namespace Muxctl {

// Reads the simulator's whitelist file. Of the defaults it takes the gateway only; the others must not be given, since
// the file has them. Any thread may call it.
CardFile ReadCardJson(const std::string& file, const std::string& text, const CardDefaults& defaults);

}  // namespace Muxctl
