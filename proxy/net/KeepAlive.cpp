#include "proxy/net/KeepAlive.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace MuxProxy {
namespace {

void SetOption(int socket, int level, int name, int value) {
    setsockopt(socket, level, name, &value, sizeof(value));
}

}  // namespace

void SetKeepAlive(int socket, const KeepAlive& times) {
    SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, times.idle);
    SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, times.interval);
    SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, times.count);
    SetOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, times.unacknowledged * 1000);
}

}  // namespace MuxProxy
