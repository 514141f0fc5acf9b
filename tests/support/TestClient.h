#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "tests/support/JsonTextCutter.h"
#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A packet of a client:
//
//   offset  width  field
//        0      2  length of the packet, little-endian
//        2      4  "MUXM"
//        6         text
//
// Throws std::length_error for a text that does not fit.
LoopbackSocket::Bytes Packet(std::string_view text);

// A client application of the Mux: packets out, bare JSON texts one after another in.
//
// For one thread at a time.
class TestClient {
  public:
    // With small ones the Mux can send only some hundred kilobytes to a client that does not read.
    enum class Buffers { kUsual, kSmall };

    // Connects to 127.0.0.1; tries again until the Mux listens. Throws when it never does.
    explicit TestClient(int port, Buffers buffers = Buffers::kUsual);

    // Sends one packet with this text.
    void Send(std::string_view text) const { socket_.Send(Packet(text)); }
    // Sends bytes as they are, in one write.
    void SendRaw(std::string_view bytes) const { socket_.SendText(bytes); }

    // The next text from the Mux, byte for byte. "(nothing)" when the deadline passes first, "(closed)" when the Mux
    // has closed the connection.
    std::string Receive(std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Takes at most so many bytes of what has arrived, without waiting, and leaves the rest where it is.
    void ReceiveSome(std::size_t bytes);

    // Whether nothing has arrived that was not received.
    bool IsSilent() const { return socket_.IsQuietFor(std::chrono::milliseconds(0)); }

    // Closes the connection in order.
    void Close() { socket_.Close(); }

  private:
    void Cut(const LoopbackSocket::Bytes& received);

    LoopbackSocket socket_;
    JsonTextCutter cutter_;
};

}  // namespace Testing
