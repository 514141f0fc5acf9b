#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/system/support/JsonTextCutter.h"
#include "tests/system/support/MuxProcess.h"

namespace SystemTest {

// A packet of a client:
//
//   offset  width  field
//        0      2  length of the packet, little-endian
//        2      4  "MUXM"
//        6         text
std::string Packet(std::string_view text);

// A client application of the Mux: packets out, bare JSON texts one after another in.
//
// For one thread at a time.
class TestClient {
  public:
    // With small ones the Mux can send only some hundred kilobytes to a client that does not read.
    enum class Buffers { kUsual, kSmall };

    // Connects to 127.0.0.1; tries again until the Mux listens. Throws when it never does.
    explicit TestClient(std::uint16_t port, Buffers buffers = Buffers::kUsual);
    ~TestClient();
    TestClient(TestClient&& other) noexcept;
    TestClient& operator=(TestClient&&) = delete;

    // Sends one packet with this text.
    void Send(std::string_view text) const { SendRaw(Packet(text)); }
    // Sends bytes as they are, in one write.
    void SendRaw(std::string_view bytes) const;

    // The next text from the Mux, byte for byte; a failure is recorded when it keeps neither the schema of answers nor
    // that of events. "(nothing)" when the deadline passes first, "(closed)" when the Mux
    // has closed the connection.
    std::string Receive(std::chrono::milliseconds deadline = kDeadline);

    // Takes at most so many bytes of what has arrived, without waiting, and leaves the rest where it is.
    void ReceiveSome(std::size_t bytes);

    // Closes the connection in order.
    void Close();

  private:
    int socket_ = -1;
    JsonTextCutter cutter_;
};

}  // namespace SystemTest
