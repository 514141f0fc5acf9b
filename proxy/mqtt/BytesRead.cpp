#include "proxy/mqtt/BytesRead.h"

// The C library's tcp_info ends before tcpi_bytes_received.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace MuxProxy {

std::uint64_t BytesReadFrom(int socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    int unread = 0;
    const bool isKnown =
        getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && ioctl(socket, FIONREAD, &unread) == 0;
    const auto waiting = static_cast<std::uint64_t>(unread);
    return isKnown && info.tcpi_bytes_received > waiting ? info.tcpi_bytes_received - waiting : 0;
}

}  // namespace MuxProxy
