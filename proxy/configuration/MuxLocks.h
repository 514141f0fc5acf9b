#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Request.h"

namespace MuxProxy {

// A lock of the Mux's own configuration file. A value.
struct MuxLock {
    MuxClient::LockAddress address;
    // For people; may be empty.
    std::string gatewayName;
    std::string name;
};

using MuxLocks = std::vector<MuxLock>;

// The locks of the Mux's configuration file in its order, those with two numbers; of two with the same the first.
// Throws ConfigurationError if the file cannot be read or is not JSON. Any thread.
MuxLocks ReadMuxLocks(const std::string& file);

// The lock of this gateway whose address has these low 16 bits, which is all that an event tells of it; nothing if
// there is none or more than one. Any thread.
std::optional<std::int32_t> LockByLowBits(const MuxLocks& locks, std::int32_t gateway, std::uint16_t bits);

}  // namespace MuxProxy
