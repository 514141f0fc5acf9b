#pragma once

#include <string>

namespace Muxctl {

// Whether a text can say where a host is: an address as the system reads them, or what may be a name. Asks nobody, so
// the name may be unknown all the same. Any thread may call it.
bool CanBeHost(const std::string& text);

}  // namespace Muxctl
