#pragma once

#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A client of the Mux: a plain connection on which it sends packets and reads the JSON texts that come back.
class MuxClient {
  public:
    // Connects, again and again until the Mux listens on the port.
    explicit MuxClient(int port);

    // Sends the text as one packet.
    void Send(const std::string& json);

    // The next JSON object, its time taken out; what there is of it, with a failed test, when it does not come whole.
    std::string Receive();

    // Whether nothing has arrived that was not received.
    bool IsSilent() const;

    void Close();

  private:
    LoopbackSocket socket_;
};

// The packet of a client that holds the text.
std::vector<unsigned char> Packet(const std::string& text);

}  // namespace Testing
