#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "net/ClientTable.h"
#include "net/WakeUp.h"

namespace Brenk::Net {

// What the receive thread polls for: input from every client, and room for output at clients with pending output.
//
// Receive thread only, except Wake().
class ClientWatch {
  public:
    using Clock = PendingOutput::Clock;

    // Ends the wait because a client has pending output that had none. Any thread; never blocks.
    void Wake() const { outputPending_.Wake(); }

    // Watches the clients of the table from now on. Copies nothing while the table is unchanged.
    void Collect(const ClientTable& table);
    std::size_t Count() const { return clients_.size(); }

    // Waits until `end`, or until a client sends or leaves, accepts more of its pending output or has become too slow,
    // or Wake() is called. False, with errno, if the wait fails.
    bool WaitUntil(Clock::time_point end);

    // The result of the latest wait, including clients shut down since.
    bool HasInput() const;

    // Calls `use` with each client that has sent something, has left, or can be offered its pending output. Clients
    // shut down meanwhile are skipped.
    template <typename Use>
    void ForEachWithInput(Use use) const {
        for (std::size_t index = 0; index < clients_.size(); ++index) {
            if (IsInput(events_.at(index)) && !clients_.at(index)->IsShutDown()) {
                use(clients_.at(index));
            }
        }
    }
    template <typename Use>
    void ForEachToSendOn(Use use) const {
        for (std::size_t index = 0; index < clients_.size(); ++index) {
            if (IsToBeSentOn(index)) {
                use(clients_.at(index));
            }
        }
    }

    // Looks at the receive windows of all clients, every ten seconds however often it is called.
    void LookAtWindows();

    // Keeps no more memory than the clients need that are watched now.
    void ShrinkToFit();

  private:
    static bool IsInput(const pollfd& event) { return (event.revents & ~POLLOUT) != 0; }
    bool IsToBeSentOn(std::size_t index) const;
    Clock::time_point WatchForOutput();

    std::vector<ClientPointer> clients_;
    std::vector<pollfd> events_;  // index by index those of the clients; the last one more is what wakes
    std::uint64_t version_ = 0;   // of the table when it was copied
    WakeUp outputPending_;
    Clock::time_point nextLookAtWindows_{};
};

}  // namespace Brenk::Net
