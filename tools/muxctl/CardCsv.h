#pragma once

#include <string>

#include "tools/muxctl/CardFile.h"

namespace Muxctl {

// Reads cards as CSV (RFC 4180, or with semicolons), with or without a byte order mark. Any thread may call it.
CardFile ReadCardCsv(const std::string& file, const std::string& text, const CardDefaults& defaults);

}  // namespace Muxctl
