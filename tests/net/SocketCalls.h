#pragma once

namespace Testing {

// The socket calls of this test program go through SocketCalls.cpp, by the linker.
enum class SocketCall { kGetAddrInfo, kSocket, kSetSockOpt, kBind, kListen, kAccept, kSend, kReceive, kPoll };

// While an object of this class lives, some calls of one kind fail: the first `times` of them that come from the thread
// that made the object, or, with kOtherThreads, from any other. One at a time for each kind of call.
class FailingCalls {
  public:
    enum class From { kThisThread, kOtherThreads };

    // `error` is what errno becomes; for getaddrinfo it is the result.
    FailingCalls(SocketCall call, int error, int times = 1, From from = From::kThisThread);
    ~FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    // Only setsockopt calls for this option.
    FailingCalls& ForOption(int option);

    // The first `calls` succeed before the failures come.
    FailingCalls& After(int calls);

    // How many failures have not come yet.
    int Left() const;

  private:
    const SocketCall call_;
};

// The port that the last bind was for, whether it failed or not.
int LastBoundPort();

}  // namespace Testing
