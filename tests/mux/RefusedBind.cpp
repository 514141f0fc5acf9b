#include "tests/mux/RefusedBind.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace Testing {
namespace {

std::atomic<bool> isRefused{false};
std::atomic<int> refusedPort{0};

}  // namespace

RefusedBind::RefusedBind() {
    refusedPort = 0;
    isRefused = true;
}

RefusedBind::~RefusedBind() {
    isRefused = false;
}

int RefusedBind::Port() const {
    return refusedPort;
}

extern "C" {

// The linker sends the calls of bind() here.
int __real_bind(int descriptor, const sockaddr* address, socklen_t size);
int __wrap_bind(int descriptor, const sockaddr* address, socklen_t size) {
    if (!isRefused) {
        return __real_bind(descriptor, address, size);
    }
    sockaddr_in wanted = {};
    std::memcpy(&wanted, address, std::min<std::size_t>(size, sizeof wanted));
    refusedPort = ntohs(wanted.sin_port);
    errno = EADDRINUSE;
    return -1;
}
}

}  // namespace Testing
