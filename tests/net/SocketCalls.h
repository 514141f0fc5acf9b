#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Testing {

// The socket calls of this test program go through SocketCalls.cpp, by the linker, and so does the timed lock that the
// server socket takes around its client list.
enum class SocketCall {
    kGetAddrInfo,
    kSocket,
    kSetSockOpt,
    kBind,
    kListen,
    kAccept,
    kSend,
    kReceive,
    kPoll,
    kTimedLock
};

// Whose calls are meant: those of the thread that says so, or those of all others.
enum class CallsFrom { kThisThread, kOtherThreads };

// While an object of this class lives, some calls of one kind fail: the first `times` of them that come from the thread
// that made the object, or, with kOtherThreads, from any other. One at a time for each kind of call.
class FailingCalls {
  public:
    // `error` is what errno becomes; for getaddrinfo and the timed lock it is the result.
    FailingCalls(SocketCall call, int error, int times = 1, CallsFrom from = CallsFrom::kThisThread);
    ~FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    // Only setsockopt calls for this option.
    FailingCalls& ForOption(int option);

    // The first `calls` succeed before the failures come.
    FailingCalls& After(int calls);

    // Done in the failing call, on its thread, before it returns.
    FailingCalls& Doing(std::function<void()> action);

    // How many failures have not come yet.
    int Left() const;

  private:
    const SocketCall call_;
};

// While an object of this class lives, the calls of its thread, or of all others, are noted in their order. One at a
// time. Noted are what the kernel cannot be asked for afterwards:
//
//   "getaddrinfo 127.0.0.1 2101, stream"
//   "setsockopt SO_RCVTIMEO 150"   time-outs in microseconds, other options as they are
//   "bind 0.0.0.0:5555"
//   "listen 128"
//   "send 10 bytes, flags 0"       and "recv" with the room that there was
//   "poll 1000 ms"
//   "lock until 5 s"               the deadline, counted from the epoch
//   "robust"                       a mutex is being made that survives its owner
class SeenCalls {
  public:
    explicit SeenCalls(CallsFrom from = CallsFrom::kThisThread);
    ~SeenCalls();
    SeenCalls(const SeenCalls&) = delete;
    SeenCalls& operator=(const SeenCalls&) = delete;

    std::vector<std::string> All() const;

    // The first `count`; waits until there are so many, and gives fewer when they do not come.
    std::vector<std::string> First(std::size_t count) const;
};

}  // namespace Testing

// The tests of the sockets say these often.
namespace Brenk::Net {
using Testing::CallsFrom;
using Testing::FailingCalls;
using Testing::SeenCalls;
using Testing::SocketCall;
}  // namespace Brenk::Net
