#pragma once

#include <cstdint>

namespace Brenk {

// The state of the connection to one gateway.
enum VirtualGatewayStatuses : std::int32_t {
    UNKNOWN = 0,       // never set by a gateway itself
    CREATED = 1,       // no connection attempted yet
    CONNECTED = 2,     // connected, the gateway's sequence counter is being fetched
    READY = 3,         // connected, every queued request is sent
    DISCONNECTED = 4,  // socket closed and deleted
    FAULTED = 5,       // the socket reported an error
    NOT_PRESENT = 6,   // 20 attempts to connect have failed: given up for good
};

}  // namespace Brenk
