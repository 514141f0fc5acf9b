#pragma once

#include <cstdint>
#include <string>

namespace Mux {

// What a client reads when a gateway refuses its request. There are two wordings: the long one for opening and
// closing a lock names the lock and the gateway, the short one serves every other request. `responseCode` is the
// gateway's, not 0; the text is empty for an unknown header version. Any thread.

std::string LongErrorText(std::uint32_t responseCode, std::int32_t deviceAddress, std::int32_t gatewayID);

std::string ShortErrorText(std::uint32_t responseCode);

}  // namespace Mux
