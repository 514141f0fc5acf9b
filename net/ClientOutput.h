#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

#include "net/PendingOutput.h"

namespace Brenk::Net {

// The byte stream to one client. Data leaves whole and in the order of the calls, or the stream fails and nothing
// follows the fragment.
//
// Any thread. Never waits for the client: what the socket does not accept at once stays here until SendOn() is called.
// The lock is held while bytes are offered to the socket, which does not block.
class ClientOutput {
  public:
    // Does not own the descriptor. The budget must outlive it.
    ClientOutput(int descriptor, OutputBudget& budget);

    struct Outcome {
        int error = 0;                // 0 when socket and buffer took everything
        bool isNewlyPending = false;  // something is pending now, and nothing was before
    };

    // Sends `data` after everything that is pending. EAGAIN without room, else the socket's error. A failure is
    // permanent and drops what is pending.
    Outcome Send(const std::vector<unsigned char>& data);

    // Offers the socket what is pending. 0, or the error that ends the stream: EAGAIN when the client was too slow.
    int SendOn();

    // Whether something is to be sent on, or the stream was broken by an exception on its way.
    bool IsPending() const { return isPending_; }

    // Whether anything was sent since this was asked last.
    bool TakeWasSent() { return wasSent_.exchange(false); }

    // By when SendOn() has to be called even if the socket takes nothing more.
    PendingOutput::Clock::time_point Deadline() const;

  private:
    int SendBehindPending(const std::vector<unsigned char>& data);
    int OfferPending();
    int Offer(const unsigned char* bytes, std::size_t count, std::size_t& taken) const;
    void Begin();
    int Finish(int error);

    const int descriptor_;
    mutable std::mutex mutex_;
    PendingOutput pending_;
    int error_ = 0;
    std::atomic<bool> isPending_{false};
    std::atomic<bool> wasSent_{false};
};

}  // namespace Brenk::Net
