#include "net/OpenSocket.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>

namespace Brenk::Net {

OpenSocket::OpenSocket(int descriptor) : descriptor_(descriptor) {}

OpenSocket::~OpenSocket() {
    // close() is a cancellation point, and a thread must not be unwound out of a destructor.
    int previousCancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previousCancelState);
    close(descriptor_);
    pthread_setcancelstate(previousCancelState, nullptr);
}

std::shared_ptr<OpenSocket> OpenSocket::Share(int descriptor) {
    try {
        return std::make_shared<OpenSocket>(descriptor);
    } catch (const std::bad_alloc&) {
        close(descriptor);
        throw;
    }
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
