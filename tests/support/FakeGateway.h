#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tests/support/Hex.h"
#include "tests/support/LoopbackSocket.h"

namespace Testing {

constexpr std::chrono::seconds kDeadline{10};

// How long to look for something that must not happen.
constexpr std::chrono::milliseconds kQuietTime{1000};

// Device address of the request by which a gateway object asks for the sequence counter; no lock stands there.
constexpr std::uint32_t kRefreshAddress = 0x100;

// A frame as a gateway sends it: header and CRC are written here, independently of the program's own code.
Bytes Frame(std::uint8_t type, std::uint8_t referenceID, const Bytes& payload, std::uint32_t deviceAddress = 5);

// The answer to the request with this reference ID; `counter` follows result 7 alone.
Bytes ResultFrame(std::uint8_t referenceID, std::uint8_t result, std::uint32_t counter = 0);

// A card (14, 15) or PIN (22) presented at a lock.
Bytes EventFrame(std::uint8_t type, const Bytes& data, std::uint32_t deviceAddress = 5);

std::uint8_t ReferenceIDOf(const Bytes& frame);
std::uint32_t SequenceCounterOf(const Bytes& frame);
std::uint32_t DeviceAddressOf(const Bytes& frame);

// What does not depend on the moment at which a frame is sent: everything but its reference ID (offset 7), its
// sequence counter (8 to 11) and the checksum (the last two bytes), in hexadecimal.
std::string TimelessPart(const Bytes& frame);

// The gateway's end of one connection.
class FakeConnection : public LoopbackSocket {
  public:
    // Not connected.
    FakeConnection() = default;
    explicit FakeConnection(LoopbackSocket accepted);

    // The next whole frame; empty at the end of the connection or when the deadline passes.
    Bytes ReceiveFrame(std::chrono::milliseconds deadline = kDeadline);

    // The same, without the requests for the sequence counter that come at their own time.
    Bytes ReceiveLockFrame(std::chrono::milliseconds deadline = kDeadline);

    // Answers a frame with a result code.
    void Answer(const Bytes& frame, std::uint8_t result) const { Send(ResultFrame(ReferenceIDOf(frame), result)); }
};

// A gateway's TCP port on 127.0.0.1 without a gateway behind it: the test accepts, reads and writes by itself.
class FakeGateway {
  public:
    // Binds the port, 0 for one that the kernel picks, and waits for it when somebody else has it. Connections are
    // refused until Listen().
    explicit FakeGateway(int port = 0);

    std::uint32_t Port() const;

    void Listen();

    // Refuses connections again, on the same port.
    void Refuse();

    // The next connection. Throws std::system_error when none comes.
    FakeConnection Accept();

    // Whether a connection waits to be accepted right now.
    bool HasNewConnection() const { return !socket_.IsQuietFor(std::chrono::milliseconds(0)); }

  private:
    void Bind(int port);

    LoopbackSocket socket_;
};

// A FakeGateway that listens from its construction on and works with the connection that it accepted last.
class WireGateway : private FakeGateway {
  public:
    WireGateway() { Listen(); }

    int Port() const { return static_cast<int>(FakeGateway::Port()); }
    void Accept() { connection_ = FakeGateway::Accept(); }
    Bytes ReceiveFrame() { return connection_.ReceiveFrame(); }
    Bytes ReceiveRequest() { return connection_.ReceiveLockFrame(); }
    void Answer(const Bytes& frame, std::uint8_t result) const { connection_.Answer(frame, result); }
    void SendCardEvent(std::uint8_t type, std::uint32_t lock, const Bytes& card) const {
        connection_.Send(EventFrame(type, card, lock));
    }
    void Close() { connection_.Close(); }

  private:
    FakeConnection connection_;
};

}  // namespace Testing
