#pragma once

#include <cstddef>
#include <string>

#include "tests/system/support/MuxSystem.h"

namespace SystemTest {

// Requests to the first gateway of a system, which from construction on answers nothing: only sending moves the Mux's
// counters then, however slow the machine is. The Mux's question for the gateway's counter, which comes every 27
// seconds, may stand anywhere between the requests (see IsQuestion).
class UnansweredRequests {
  public:
    // What the system must be made with: the log tells of a question before it is sent.
    static SystemSetup Setup();

    // The system must remain live as long as this.
    explicit UnansweredRequests(MuxSystem& system);

    // Sends one with this code, as request-1, request-2 and so on, and waits until nothing is left to be sent. A
    // failure is recorded when that never comes.
    void Send(int code);

    TestClient& Client() { return client_; }

  private:
    // How many frames leave the Mux as far as its log tells by now.
    std::size_t Announced() const;

    MuxSystem& system_;
    TestClient client_;
    std::size_t requests_ = 0;
};

// Whether the frame is the Mux's question for the counter: it goes to an address without a lock.
bool IsQuestion(const Simulator::ReceivedFrame& frame);

}  // namespace SystemTest
