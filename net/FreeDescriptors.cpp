#include "net/FreeDescriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>

namespace Brenk::Net {
namespace {

constexpr std::size_t kReserve = 48;
constexpr std::size_t kPartInReserve = 4;
constexpr std::size_t kChunk = 256;

std::size_t AllowedDescriptors() {
    rlimit limit = {};
    constexpr rlim_t most = std::numeric_limits<int>::max();
    return static_cast<std::size_t>(getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min(limit.rlim_cur, most) : most);
}

// How many of `count` numbers, kChunk at most, are free. One system call tells.
std::size_t CountFreeOf(std::size_t first, std::size_t count) {
    std::array<pollfd, kChunk> numbers{};
    for (std::size_t index = 0; index < count; ++index) {
        numbers.at(index).fd = static_cast<int>(first + index);
    }
    constexpr timespec kAtOnce = {0, 0};
    if (ppoll(numbers.data(), static_cast<nfds_t>(count), &kAtOnce, nullptr) < 1) {
        return 0;
    }
    return static_cast<std::size_t>(std::count_if(numbers.begin(), numbers.begin() + count, [](const pollfd& number) {
        return (number.revents & POLLNVAL) != 0;
    }));
}

}  // namespace

std::size_t CountFreeDescriptors(std::size_t end, std::size_t enough) {
    const std::size_t last = std::min(end, AllowedDescriptors());
    std::size_t found = 0;
    for (std::size_t first = 0; first < last && found < enough; first += kChunk) {
        found += CountFreeOf(first, std::min(kChunk, last - first));
    }
    return std::min(found, enough);
}

std::size_t CountFreeDescriptors(std::size_t enough) {
    return CountFreeDescriptors(std::numeric_limits<int>::max(), enough);
}

std::size_t DescriptorReserve() {
    return std::min(kReserve, AllowedDescriptors() / kPartInReserve);
}

int MoveAboveClients(int descriptor) {
    const int moved = descriptor < kClientNumbers ? fcntl(descriptor, F_DUPFD_CLOEXEC, kClientNumbers) : -1;
    if (moved == -1) {
        return descriptor;
    }
    close(descriptor);
    return moved;
}

int MoveToLowestNumber(int descriptor) {
    const int other = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (other == -1) {
        return descriptor;
    }
    close(std::max(descriptor, other));
    return std::min(descriptor, other);
}

}  // namespace Brenk::Net
