#include "tests/support/ReservedPort.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace Testing {

ReservedPort::ReservedPort() {
    const int enabled = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
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
