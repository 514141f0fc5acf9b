#include "net/OpenSocket.h"

#include <sys/socket.h>
#include <unistd.h>

namespace Brenk::Net {

OpenSocket::OpenSocket(int descriptor) : descriptor_(descriptor) {}

OpenSocket::~OpenSocket() {
    close(descriptor_);
}

int OpenSocket::Descriptor() const {
    return descriptor_;
}

void OpenSocket::ShutDown() {
    shutDown_ = true;
    shutdown(descriptor_, SHUT_RDWR);
}

bool OpenSocket::IsShutDown() const {
    return shutDown_;
}

}  // namespace Brenk::Net
