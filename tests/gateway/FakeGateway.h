#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Testing {

using Bytes = LoopbackSocket::Bytes;

constexpr std::chrono::seconds kDeadline{10};

// How long to look for something that must not happen.
constexpr std::chrono::milliseconds kQuietTime{1000};

// Device address of the request by which a gateway object asks for the sequence counter; no lock stands there.
constexpr std::uint32_t kRefreshAddress = 0x100;

// A frame as a gateway sends it: header and CRC are written here, independently of the program's own code.
Bytes Frame(std::uint8_t type, std::uint8_t referenceID, const Bytes& payload, std::uint32_t deviceAddress = 5);

// The answer to the request with this reference ID; `counter` follows result 7 alone.
Bytes ResultFrame(std::uint8_t referenceID, std::uint8_t result, std::uint32_t counter = 0);

// A card (14, 15) or PIN (22) presented at lock 5.
Bytes EventFrame(std::uint8_t type, const Bytes& data);

std::uint8_t ReferenceIDOf(const Bytes& frame);
std::uint32_t SequenceCounterOf(const Bytes& frame);
std::uint32_t DeviceAddressOf(const Bytes& frame);

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
    bool HasNewConnection() const;

  private:
    void Bind(int port);

    LoopbackSocket socket_;
};

}  // namespace Testing
