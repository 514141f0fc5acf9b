#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Muxctl {

// Whether a text can be a host: an address as the system reads them, or a possible name, which is not looked up. Any
// thread may call it.
bool CanBeHost(const std::string& text);

struct HostAndPort {
    std::string host;
    std::optional<std::uint16_t> port;
};

// Reads "HOST", "HOST:PORT", "[ADDRESS]" or "[ADDRESS]:PORT"; the brackets are for addresses with colons. Throws
// UsageError, which names the option --host, if the host cannot be one or the port is none. Any thread may call it.
HostAndPort SplitHost(const std::string& text);

}  // namespace Muxctl
