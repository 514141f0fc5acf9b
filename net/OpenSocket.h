#pragma once

#include <atomic>
#include <memory>

namespace Brenk::Net {

// One open socket descriptor, shared by all who use it.
//
// Hold it by shared_ptr while sending, receiving or waiting. Shutting it down ends the connection and wakes its users;
// the number returns to the kernel with the last holder, so it cannot be reused under a thread that still uses it. Any
// thread.
class OpenSocket {
  public:
    // Takes over the descriptor.
    explicit OpenSocket(int descriptor);

    // Closes the descriptor.
    ~OpenSocket();

    OpenSocket(const OpenSocket&) = delete;
    OpenSocket& operator=(const OpenSocket&) = delete;

    // A new shared object; the descriptor is closed even if there is no memory for it.
    static std::shared_ptr<OpenSocket> Share(int descriptor);

    int Descriptor() const;

    // Ends the connection in both directions.
    void ShutDown();

    // Whether this side has ended it: errors of woken calls are then not the peer's.
    bool IsShutDown() const;

  private:
    const int descriptor_;
    std::atomic<bool> shutDown_{false};
};

}  // namespace Brenk::Net
