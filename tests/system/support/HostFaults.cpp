// Preloaded into the Mux by system tests: calls to the host fail, as the variable MUX_TEST_FAIL lists, with commas
// between:
//
//   CALL:NUMBER:EFFECT            of the NUMBER-th CALL of the process
//   CALL/PROPERTY:NUMBER:EFFECT   of the NUMBER-th one with this property: see the calls below
//
// An EFFECT is an error number with which the call fails; "pause=MILLISECONDS", after which the call is made; or
// "memory": the call is made, and the next allocation of its thread fails. Those of log lines do not count: a line is
// only left out.

#include <dlfcn.h>
#include <execinfo.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

constexpr int kAny = -1;
const char* const kPause = "pause=";

struct Fault {
    std::string call;
    int property = kAny;
    int number = 0;
    std::string effect;
    std::atomic<int> seen{0};
};

thread_local bool nextAllocationFails = false;
// A line lasts from the time that it takes to the cancellation that it allows again; an operand may log. A new record
// of the log, which is asked for without exceptions, takes the time once more as it is made.
thread_local int linesInProgress = 0;
thread_local bool makesRecord = false;
thread_local bool hasJustReceived = false;

void Add(std::deque<Fault>& faults, const std::string& text) {
    std::istringstream parts(text);
    std::string number;
    Fault& fault = faults.emplace_back();
    std::getline(parts, fault.call, ':');
    std::getline(parts, number, ':');
    std::getline(parts, fault.effect);
    fault.number = std::stoi(number);
    const std::size_t slash = fault.call.find('/');
    if (slash != std::string::npos) {
        fault.property = std::stoi(fault.call.substr(slash + 1));
        fault.call.resize(slash);
    }
}

std::deque<Fault>* ReadFaults() {
    auto* const faults = new std::deque<Fault>;
    const char* const plan = std::getenv("MUX_TEST_FAIL");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    std::istringstream texts(plan == nullptr ? "" : plan);
    for (std::string text; std::getline(texts, text, ',');) {
        Add(*faults, text);
    }
    return faults;
}

std::deque<Fault>& Faults() {
    static auto* const faults = ReadFaults();  // threads call until the process has ended
    return *faults;
}

// Returns the error number with which the call fails, 0 when it is made.
int Take(const std::string& effect) {
    if (effect == "memory") {
        nextAllocationFails = true;
        return 0;
    }
    if (effect.rfind(kPause, 0) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(effect.substr(std::string(kPause).size()))));
        return 0;
    }
    return std::stoi(effect);
}

int ErrorOf(const char* call, int property) {
    for (Fault& fault : Faults()) {
        const bool isMeant = fault.call == call && (fault.property == kAny || fault.property == property);
        if (isMeant && ++fault.seen == fault.number) {
            return Take(fault.effect);
        }
    }
    return 0;
}

template <typename Result, typename... Parameters>
Result Call(const char* name, Parameters... arguments) {
    return reinterpret_cast<Result (*)(Parameters...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

// For calls that set errno.
template <typename Result, typename... Parameters>
Result CallOrFail(const char* name, int property, Parameters... arguments) {
    if (const int error = ErrorOf(name, property)) {
        errno = error;
        return -1;
    }
    return Call<Result>(name, arguments...);
}

// For calls that return their error number.
template <typename... Parameters>
int CallOrReturn(const char* name, int property, Parameters... arguments) {
    const int error = ErrorOf(name, property);
    return error != 0 ? error : Call<int>(name, arguments...);
}

}  // namespace

void* operator new(std::size_t size) {
    const bool fails = nextAllocationFails && linesInProgress == 0;
    nextAllocationFails = nextAllocationFails && !fails;
    void* const memory = fails ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    makesRecord = true;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

extern "C" {

// The property of a socket is its protocol, of a socket's option the option.

int socket(int domain, int type, int protocol) noexcept {
    return CallOrFail<int>("socket", protocol, domain, type, protocol);
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) noexcept {
    return CallOrFail<int>("setsockopt", option, descriptor, level, option, value, size);
}

int getsockopt(int descriptor, int level, int option, void* value, socklen_t* size) noexcept {
    return CallOrFail<int>("getsockopt", option, descriptor, level, option, value, size);
}

int connect(int descriptor, const sockaddr* address, socklen_t size) {
    return CallOrFail<int>("connect", kAny, descriptor, address, size);
}

int listen(int descriptor, int backlog) noexcept {
    return CallOrFail<int>("listen", kAny, descriptor, backlog);
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    return CallOrFail<int>("accept4", kAny, descriptor, address, size, flags);
}

int poll(pollfd* descriptors, nfds_t count, int timeout) {
    return CallOrFail<int>("poll", kAny, descriptors, count, timeout);
}

ssize_t send(int descriptor, const void* bytes, std::size_t count, int flags) {
    hasJustReceived = false;
    return CallOrFail<ssize_t>("send", kAny, descriptor, bytes, count, flags);
}

ssize_t recv(int descriptor, void* bytes, std::size_t count, int flags) {
    hasJustReceived = true;
    return CallOrFail<ssize_t>("recv", kAny, descriptor, bytes, count, flags);
}

int shutdown(int descriptor, int how) noexcept {
    return CallOrFail<int>("shutdown", kAny, descriptor, how);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                   void* argument) noexcept {
    return CallOrReturn("pthread_create", kAny, thread, attributes, procedure, argument);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    return CallOrReturn("pthread_mutexattr_init", kAny, attributes);
}

int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
    return CallOrReturn("pthread_mutexattr_settype", kAny, attributes, type);
}

int pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness) noexcept {
    return CallOrReturn("pthread_mutexattr_setrobust", kAny, attributes, robustness);
}

// The property is 1 for a mutex with attributes.
int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    return CallOrReturn("pthread_mutex_init", attributes == nullptr ? 0 : 1, mutex, attributes);
}

// The property is 1 in a thread that has received something and sent nothing since.
std::time_t time(std::time_t* result) noexcept {
    return CallOrFail<std::time_t>("time", hasJustReceived ? 1 : 0, result);
}

int gettimeofday(timeval* now, void* zone) noexcept {
    linesInProgress += std::exchange(makesRecord, false) ? 0 : 1;
    return Call<int>("gettimeofday", now, zone);
}

int pthread_setcancelstate(int state, int* before) {
    linesInProgress -= before == nullptr && linesInProgress > 0 ? 1 : 0;
    return Call<int>("pthread_setcancelstate", state, before);
}

char** backtrace_symbols(void* const* frames, int count) noexcept {
    return ErrorOf("backtrace_symbols", kAny) != 0 ? nullptr : Call<char**>("backtrace_symbols", frames, count);
}

}  // extern "C"
