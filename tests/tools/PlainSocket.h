#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Testing {

// A TCP client without any protocol, so that a test sees the very bytes.
//
// For one thread at a time.
class PlainSocket {
  public:
    enum class Ending { kNone, kClosed, kReset };

    // Connects to 127.0.0.1; IsConnected() says whether that worked.
    explicit PlainSocket(std::uint16_t port);
    ~PlainSocket();
    PlainSocket(const PlainSocket&) = delete;
    PlainSocket& operator=(const PlainSocket&) = delete;

    bool IsConnected() const { return connected_; }

    // Bytes in hexadecimal; blanks between them do not count.
    void Send(const std::string& hex);

    // Waits for this many bytes, in upper-case hexadecimal with a blank between two; what came until then when the
    // connection ends or the deadline passes first.
    std::string Receive(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Reads whatever comes until the connection ends; kNone when the deadline passes first.
    Ending WaitForEnd(std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Whether nothing at all arrives for this long.
    bool IsQuietFor(std::chrono::milliseconds duration);

    void Close();

  private:
    bool WaitReadable(std::chrono::steady_clock::time_point end) const;

    int socket_;
    bool connected_ = false;
};

// "0A ff" as bytes.
std::vector<std::uint8_t> FromHexText(const std::string& text);
// Bytes as "0A FF".
std::string ToHexText(const std::vector<std::uint8_t>& bytes);

}  // namespace Testing
