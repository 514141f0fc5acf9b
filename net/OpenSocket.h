#pragma once

#include <atomic>
#include <memory>

namespace Brenk::Net {

// One open socket descriptor, shared by all who use it.
//
// Whoever sends, receives or waits holds it by shared_ptr. Shutting it down ends the connection and wakes them; the
// number itself goes back to the kernel with the last holder, so it can't be handed out again under a thread that
// still uses it. Any thread.
class OpenSocket {
  public:
    // Takes over the descriptor.
    explicit OpenSocket(int descriptor);

    // Closes the descriptor.
    ~OpenSocket();

    OpenSocket(const OpenSocket&) = delete;
    OpenSocket& operator=(const OpenSocket&) = delete;

    // A new one that is shared; the descriptor is closed also when there is no memory for it.
    static std::shared_ptr<OpenSocket> Share(int descriptor);

    int Descriptor() const;

    // Ends the connection in both directions.
    void ShutDown();

    // Whether this side has ended it: what a woken call then reports is no failure of the peer.
    bool IsShutDown() const;

  private:
    const int descriptor_;
    std::atomic<bool> shutDown_{false};
};

}  // namespace Brenk::Net
