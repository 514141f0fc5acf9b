#pragma once

#include <string>

namespace Muxctl {

// Whether a text can be a host: an address as the system reads them, or a possible name, which is not looked up. Any
// thread may call it.
bool CanBeHost(const std::string& text);

}  // namespace Muxctl
