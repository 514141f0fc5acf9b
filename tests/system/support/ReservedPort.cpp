#include "tests/system/support/ReservedPort.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace SystemTest {
namespace {

void Check(int result, const char* what) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

}  // namespace

ReservedPort::ReservedPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    Check(socket_, "socket");
    const int enabled = 1;
    Check(setsockopt(socket_, SOL_SOCKET, SO_REUSEPORT, &enabled, sizeof enabled), "setsockopt");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    Check(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    socklen_t size = sizeof address;
    Check(getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    number_ = ntohs(address.sin_port);
}

ReservedPort::~ReservedPort() {
    close(socket_);
}

}  // namespace SystemTest
