#pragma once

#include <string>
#include <string_view>

namespace Load {

// A client's packet around a JSON text: 2 bytes of length, little-endian and counting the whole packet, then "MUXM",
// then the text. Throws std::length_error for a text that is too long for the length field.
std::string PacketAround(std::string_view text);

// The packet of a request to open lock 5 of a gateway. The ID must need no escapes.
std::string OpenRequest(std::string_view messageId, int gatewayId);

// The same for a gateway that is never configured, so that the server itself refuses it at once.
std::string RefusedRequest(std::string_view messageId);

}  // namespace Load
