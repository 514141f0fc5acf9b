#include "tests/net/SocketCalls.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

namespace Testing {
namespace {

constexpr int kAnyOption = -1;

// What is to fail of one kind of call.
struct Plan {
    std::atomic<int> left{0};
    std::atomic<int> spared{0};
    std::atomic<int> error{0};
    std::atomic<int> option{kAnyOption};
    std::atomic<long> owner{0};
    std::atomic<bool> ofOtherThreads{false};
};

std::array<Plan, 9> plans;
std::atomic<int> lastBoundPort{0};

Plan& PlanOf(SocketCall call) {
    return plans.at(static_cast<std::size_t>(call));
}

long CurrentThread() {
    return syscall(SYS_gettid);
}

bool TakeOne(std::atomic<int>& counter) {
    int value = counter;
    while (value > 0 && !counter.compare_exchange_weak(value, value - 1)) {
    }
    return value > 0;
}

// The error that this call shall have; 0 for none.
int ErrorOf(SocketCall call, int option = kAnyOption) {
    Plan& plan = PlanOf(call);
    const bool concerned = plan.left > 0 && (plan.option == kAnyOption || plan.option == option) &&
                           (plan.owner != CurrentThread()) == plan.ofOtherThreads;
    return concerned && !TakeOne(plan.spared) && TakeOne(plan.left) ? plan.error.load() : 0;
}

// What the call gives when it shall fail, and `otherwise()` when not.
template <typename Call>
auto FailOr(int error, Call otherwise) -> decltype(otherwise()) {
    if (error == 0) {
        return otherwise();
    }
    errno = error;
    return -1;
}

}  // namespace

FailingCalls::FailingCalls(SocketCall call, int error, int times, From from) : call_(call) {
    Plan& plan = PlanOf(call);
    plan.error = error;
    plan.option = kAnyOption;
    plan.spared = 0;
    plan.owner = CurrentThread();
    plan.ofOtherThreads = from == From::kOtherThreads;
    plan.left = times;
}

FailingCalls::~FailingCalls() {
    PlanOf(call_).left = 0;
}

FailingCalls& FailingCalls::ForOption(int option) {
    PlanOf(call_).option = option;
    return *this;
}

FailingCalls& FailingCalls::After(int calls) {
    PlanOf(call_).spared = calls;
    return *this;
}

int FailingCalls::Left() const {
    return PlanOf(call_).left;
}

int LastBoundPort() {
    return lastBoundPort;
}

extern "C" {

int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result);
int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result) {
    const int error = ErrorOf(SocketCall::kGetAddrInfo);
    return error != 0 ? error : __real_getaddrinfo(host, service, hints, result);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    return FailOr(ErrorOf(SocketCall::kSocket), [&] { return __real_socket(domain, type, protocol); });
}

int __real_setsockopt(int descriptor, int level, int option, const void* value, socklen_t size);
int __wrap_setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) {
    return FailOr(ErrorOf(SocketCall::kSetSockOpt, option),
                  [&] { return __real_setsockopt(descriptor, level, option, value, size); });
}

int __real_bind(int descriptor, const sockaddr* address, socklen_t size);
int __wrap_bind(int descriptor, const sockaddr* address, socklen_t size) {
    lastBoundPort = ntohs(reinterpret_cast<const sockaddr_in*>(address)->sin_port);
    return FailOr(ErrorOf(SocketCall::kBind), [&] { return __real_bind(descriptor, address, size); });
}

int __real_listen(int descriptor, int backlog);
int __wrap_listen(int descriptor, int backlog) {
    return FailOr(ErrorOf(SocketCall::kListen), [&] { return __real_listen(descriptor, backlog); });
}

int __real_accept4(int descriptor, sockaddr* address, socklen_t* size, int flags);
int __wrap_accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    return FailOr(ErrorOf(SocketCall::kAccept), [&] { return __real_accept4(descriptor, address, size, flags); });
}

ssize_t __real_send(int descriptor, const void* bytes, size_t count, int flags);
ssize_t __wrap_send(int descriptor, const void* bytes, size_t count, int flags) {
    return FailOr(ErrorOf(SocketCall::kSend), [&] { return __real_send(descriptor, bytes, count, flags); });
}

ssize_t __real_recv(int descriptor, void* bytes, size_t count, int flags);
ssize_t __wrap_recv(int descriptor, void* bytes, size_t count, int flags) {
    return FailOr(ErrorOf(SocketCall::kReceive), [&] { return __real_recv(descriptor, bytes, count, flags); });
}

int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    return FailOr(ErrorOf(SocketCall::kPoll), [&] { return __real_poll(descriptors, count, timeout); });
}

}  // extern "C"

}  // namespace Testing
