#include "net/WakeUp.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace Brenk::Net {

WakeUp::WakeUp() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

WakeUp::~WakeUp() {
    if (descriptor_ != -1) {
        close(descriptor_);
    }
}

void WakeUp::Wake() const {
    static_cast<void>(eventfd_write(descriptor_, 1));
}

void WakeUp::Clear() const {
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(descriptor_, &count));
}

}  // namespace Brenk::Net
