#include "net/SocketWait.h"

#include <cerrno>

namespace Brenk::Net {
namespace {

using Clock = std::chrono::steady_clock;

int Remaining(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

int WaitFor(pollfd* descriptors, nfds_t count, std::chrono::milliseconds timeout) {
    if (timeout.count() == 0) {
        return poll(descriptors, count, 0);
    }
    const auto end = Clock::now() + timeout;
    int result = poll(descriptors, count, static_cast<int>(timeout.count()));
    while (result == -1 && errno == EINTR) {
        result = poll(descriptors, count, Remaining(end));
    }
    return result;
}

}  // namespace

int WaitForEvents(std::vector<pollfd>& descriptors, std::chrono::milliseconds timeout) {
    return WaitFor(descriptors.data(), static_cast<nfds_t>(descriptors.size()), timeout);
}

int WaitForEvent(int descriptor, short events, std::chrono::milliseconds timeout) {
    pollfd waited = {descriptor, events, 0};
    return WaitFor(&waited, 1, timeout);
}

}  // namespace Brenk::Net
