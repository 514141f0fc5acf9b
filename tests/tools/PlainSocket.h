#pragma once

#include <cstdint>
#include <string>
#include <system_error>

#include "tests/support/Hex.h"
#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A TCP client without any protocol that sends and receives hexadecimal texts, so that a test sees the very bytes.
class PlainSocket : public LoopbackSocket {
  public:
    explicit PlainSocket(int port) { ConnectTo(port); }

    void Send(const std::string& hex) const { LoopbackSocket::Send(FromHex(hex)); }
    std::string Receive(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(10)) {
        return ToHex(LoopbackSocket::Receive(count, deadline));
    }
};

// Whether somebody listens on the port.
inline bool IsListenedOn(int port) {
    try {
        LoopbackSocket::ConnectedTo(port);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace Testing
