#include "tests/support/ReservedPort.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace Testing {

ReservedPort::ReservedPort() {
    Bind(0);
}

// Connections of an earlier program may still be ending on the port.
ReservedPort::ReservedPort(std::uint16_t number) {
    const int enabled = 1;
    setsockopt(bound_.Descriptor(), SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);
    Bind(number);
}

void ReservedPort::Bind(std::uint16_t number) {
    const int enabled = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(number);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    const int descriptor = bound_.Descriptor();
    if (setsockopt(descriptor, SOL_SOCKET, SO_REUSEPORT, &enabled, sizeof enabled) == -1 ||
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1) {
        throw std::system_error(errno, std::generic_category(), "reserve a port");
    }
}

std::uint16_t ReservedPort::Number() const {
    return static_cast<std::uint16_t>(bound_.Port());
}

}  // namespace Testing
