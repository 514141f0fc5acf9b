#pragma once

#include <cerrno>
#include <utility>

#include "gateway/VirtualGateway.h"

namespace Testing {

// Makes the gateway FAULTED for good: the Mux, which would reconnect it at once, is not told of its states any more.
inline void MakeFaulted(Brenk::VirtualGateway& gateway) {
    Brenk::GatewayOwner nobody;
    nobody.id = gateway.ID();
    nobody.context = &gateway;
    gateway.SetOwner(std::move(nobody));
    Brenk::VirtualGateway::SocketSendError(EPIPE, &gateway);
}

}  // namespace Testing
