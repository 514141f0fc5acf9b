#pragma once

#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A lock gateway as far as these tests need one: it accepts connections, gives the frames that arrive and sends what
// it is told to. A frame's first byte is its length; the lock's address stands at offset 12, the command at 16.
class WireGateway {
  public:
    using Bytes = std::vector<unsigned char>;

    WireGateway();

    int Port() const;

    // Waits for the next connection and uses it from now on.
    void Accept();

    // The next frame, whatever it asks for. A failed test, and an empty one, when none comes.
    Bytes ReceiveFrame();

    // The next frame that is no sequence refresh: those ask for address 0x100, behind which no lock stands.
    Bytes ReceiveRequest();

    // Answers a frame with a result code. The checksum is left 0, since the Mux does not look at it.
    void Answer(const Bytes& frame, unsigned char result);

    // Tells on its own that a lock's reader saw a card.
    void SendCardEvent(unsigned char eventType, unsigned char lock, const Bytes& card);

    // Ends the connection in order.
    void Close();

  private:
    LoopbackSocket listener_;
    LoopbackSocket connection_;
};

// What does not depend on the moment at which a frame is sent: everything but its reference ID (offset 7), its
// sequence counter (8 to 11) and the checksum (the last two bytes), as hexadecimal digits with blanks.
std::string TimelessPart(const WireGateway::Bytes& frame);

}  // namespace Testing
