#include "tests/net/SocketCalls.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <utility>

#include "tests/support/WaitUntil.h"

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
    std::function<void()> action;
};

std::array<Plan, 10> plans;

// What SeenCalls notes, and for whom.
struct Notes {
    std::mutex mutex;
    bool wanted = false;
    bool ofOtherThreads = false;
    long owner = 0;
    std::vector<std::string> calls;
};

Notes& TheNotes() {
    static auto* const notes = new Notes;  // threads may call until the process ends
    return *notes;
}

struct OptionName {
    int level;
    int option;
    const char* name;
};

constexpr OptionName kOptionNames[] = {
    {SOL_SOCKET, SO_RCVTIMEO, "SO_RCVTIMEO"},   {SOL_SOCKET, SO_SNDTIMEO, "SO_SNDTIMEO"},
    {SOL_SOCKET, SO_KEEPALIVE, "SO_KEEPALIVE"}, {SOL_SOCKET, SO_REUSEADDR, "SO_REUSEADDR"},
    {SOL_SOCKET, SO_REUSEPORT, "SO_REUSEPORT"}, {IPPROTO_TCP, TCP_KEEPIDLE, "TCP_KEEPIDLE"},
    {IPPROTO_TCP, TCP_KEEPCNT, "TCP_KEEPCNT"},  {IPPROTO_TCP, TCP_KEEPINTVL, "TCP_KEEPINTVL"},
    {IPPROTO_TCP, TCP_NODELAY, "TCP_NODELAY"},  {IPPROTO_TCP, TCP_USER_TIMEOUT, "TCP_USER_TIMEOUT"},
};

std::string NameOfOption(int level, int option) {
    for (const OptionName& row : kOptionNames) {
        if (row.level == level && row.option == option) {
            return row.name;
        }
    }
    return std::to_string(level) + "/" + std::to_string(option);
}

long ValueOfOption(int option, const void* value) {
    if (option == SO_RCVTIMEO || option == SO_SNDTIMEO) {
        const auto* const timeout = static_cast<const timeval*>(value);
        return static_cast<long>(timeout->tv_sec) * 1000000 + static_cast<long>(timeout->tv_usec);
    }
    return *static_cast<const int*>(value);
}

Plan& PlanOf(SocketCall call) {
    return plans.at(static_cast<std::size_t>(call));
}

long CurrentThread() {
    return syscall(SYS_gettid);
}

void Note(const std::string& call) {
    Notes& notes = TheNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    if (notes.wanted && (notes.owner != CurrentThread()) == notes.ofOtherThreads) {
        notes.calls.push_back(call);
    }
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
    if (!concerned || TakeOne(plan.spared) || !TakeOne(plan.left)) {
        return 0;
    }
    if (plan.action) {
        plan.action();
    }
    return plan.error;
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

FailingCalls::FailingCalls(SocketCall call, int error, int times, CallsFrom from) : call_(call) {
    Plan& plan = PlanOf(call);
    plan.error = error;
    plan.option = kAnyOption;
    plan.spared = 0;
    plan.action = nullptr;
    plan.owner = CurrentThread();
    plan.ofOtherThreads = from == CallsFrom::kOtherThreads;
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

FailingCalls& FailingCalls::Doing(std::function<void()> action) {
    PlanOf(call_).action = std::move(action);
    return *this;
}

int FailingCalls::Left() const {
    return PlanOf(call_).left;
}

SeenCalls::SeenCalls(CallsFrom from) {
    Notes& notes = TheNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    notes.calls.clear();
    notes.owner = CurrentThread();
    notes.ofOtherThreads = from == CallsFrom::kOtherThreads;
    notes.wanted = true;
}

SeenCalls::~SeenCalls() {
    Notes& notes = TheNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    notes.wanted = false;
}

std::vector<std::string> SeenCalls::All() const {
    Notes& notes = TheNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    return notes.calls;
}

std::vector<std::string> SeenCalls::First(std::size_t count) const {
    WaitUntil([&] { return All().size() >= count; });
    std::vector<std::string> calls = All();
    calls.resize(std::min(count, calls.size()));
    return calls;
}

extern "C" {

int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result);
int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result) {
    const std::string type = hints != nullptr && hints->ai_socktype == SOCK_STREAM ? "stream" : "any type";
    Note(std::string("getaddrinfo ") + host + " " + service + ", " + type);
    const int error = ErrorOf(SocketCall::kGetAddrInfo);
    return error != 0 ? error : __real_getaddrinfo(host, service, hints, result);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    return FailOr(ErrorOf(SocketCall::kSocket), [&] { return __real_socket(domain, type, protocol); });
}

int __real_setsockopt(int descriptor, int level, int option, const void* value, socklen_t size);
int __wrap_setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) {
    Note("setsockopt " + NameOfOption(level, option) + " " + std::to_string(ValueOfOption(option, value)));
    return FailOr(ErrorOf(SocketCall::kSetSockOpt, option),
                  [&] { return __real_setsockopt(descriptor, level, option, value, size); });
}

int __real_bind(int descriptor, const sockaddr* address, socklen_t size);
int __wrap_bind(int descriptor, const sockaddr* address, socklen_t size) {
    const auto* const internet = reinterpret_cast<const sockaddr_in*>(address);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &internet->sin_addr, text.data(), text.size());
    Note(std::string("bind ") + text.data() + ":" + std::to_string(ntohs(internet->sin_port)));
    return FailOr(ErrorOf(SocketCall::kBind), [&] { return __real_bind(descriptor, address, size); });
}

int __real_listen(int descriptor, int backlog);
int __wrap_listen(int descriptor, int backlog) {
    Note("listen " + std::to_string(backlog));
    return FailOr(ErrorOf(SocketCall::kListen), [&] { return __real_listen(descriptor, backlog); });
}

int __real_accept4(int descriptor, sockaddr* address, socklen_t* size, int flags);
int __wrap_accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    return FailOr(ErrorOf(SocketCall::kAccept), [&] { return __real_accept4(descriptor, address, size, flags); });
}

ssize_t __real_send(int descriptor, const void* bytes, size_t count, int flags);
ssize_t __wrap_send(int descriptor, const void* bytes, size_t count, int flags) {
    Note("send " + std::to_string(count) + " bytes, flags " + std::to_string(flags));
    return FailOr(ErrorOf(SocketCall::kSend), [&] { return __real_send(descriptor, bytes, count, flags); });
}

ssize_t __real_recv(int descriptor, void* bytes, size_t count, int flags);
ssize_t __wrap_recv(int descriptor, void* bytes, size_t count, int flags) {
    Note("recv " + std::to_string(count) + " bytes, flags " + std::to_string(flags));
    return FailOr(ErrorOf(SocketCall::kReceive), [&] { return __real_recv(descriptor, bytes, count, flags); });
}

int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    Note("poll " + std::to_string(timeout) + " ms");
    return FailOr(ErrorOf(SocketCall::kPoll), [&] { return __real_poll(descriptors, count, timeout); });
}

int __real_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline);
int __wrap_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) {
    Note("lock until " + std::to_string(deadline->tv_sec) + " s");
    const int error = ErrorOf(SocketCall::kTimedLock);
    return error != 0 ? error : __real_pthread_mutex_timedlock(mutex, deadline);
}

int __real_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness);
int __wrap_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness) {
    Note(robustness == PTHREAD_MUTEX_ROBUST ? "robust" : "not robust");
    return __real_pthread_mutexattr_setrobust(attributes, robustness);
}

}  // extern "C"

}  // namespace Testing
