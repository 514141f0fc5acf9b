#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/EventSource.h"
#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/GatewayStatus.h"
#include "tools/gateway-simulator/Lock.h"
#include "tools/gateway-simulator/ProtocolCodes.h"
#include "tools/gateway-simulator/ReceivedFrame.h"
#include "tools/gateway-simulator/SimulatorOptions.h"

namespace Simulator {

// A lock gateway on a TCP port, for tests in the same process and for the program.
//
//     GatewaySimulator gateway({"127.0.0.1", 0, {5, 6, 7}});
//     gateway.Start();
//     // ... connect to gateway.Port() ...
//     gateway.Inject(Fault::Delay(500ms));
//     gateway.RaiseCard(5, {0x04, 0xA1, 0xB2, 0xC3});
//
// Any thread may call anything but the constructor and the destructor. The gateway itself runs on a thread of its
// own, from construction to destruction; what a method changes is in force when it returns.
class GatewaySimulator {
  public:
    explicit GatewaySimulator(const SimulatorOptions& options = {});
    // Stops.
    ~GatewaySimulator();
    GatewaySimulator(const GatewaySimulator&) = delete;
    GatewaySimulator& operator=(const GatewaySimulator&) = delete;

    // Listens. Throws std::system_error when the address or the port cannot be opened. May follow a Stop(); port, locks
    // and counter are still those of before.
    void Start();
    // Stops listening and closes every connection in order.
    void Stop();

    // The port it listens on, 0 before the first Start().
    std::uint16_t Port() const;
    // How many connections were ever accepted.
    std::size_t ConnectionCount() const;
    // Whether there is a connection.
    bool IsConnected() const;
    // All that a person sees of it, at one moment. Does not copy the cards.
    GatewayStatus Status() const;

    // Adds a closed lock with the whitelist capacity of the options. False when its address is taken. A whitelist that
    // is kept for the address takes the place of the lock's.
    bool AddLock(std::uint32_t address);
    bool AddLock(const Lock& lock);
    // False if the lock does not exist.
    bool RemoveLock(std::uint32_t address);
    // Calls `change` with a lock, on the gateway's thread. False if the lock does not exist.
    bool ChangeLock(std::uint32_t address, const std::function<void(Lock& lock)>& change);
    // A copy of a lock in its current state; empty if it does not exist.
    std::optional<Lock> FindLock(std::uint32_t address) const;
    // Copies of all locks, by address.
    std::vector<Lock> Locks() const;

    // The sequence counter of the last accepted request.
    std::uint32_t Counter() const;
    void SetCounter(std::uint32_t counter);

    // Events go to the connection accepted last; false when there is none, and then nothing is sent. The address
    // need not be a lock's. Throws std::length_error for more than 228 bytes of data.
    bool RaiseCard(std::uint32_t address, const Bytes& card, std::uint8_t code = kCardEvent);
    // PIN in digits; they are sent as ASCII.
    bool RaisePin(std::uint32_t address, std::string_view digits);
    // Event header and event bytes of all further events.
    void SetEventDetails(const EventSource::Details& details);
    // Sends bytes as they are, on the connection accepted last; false when there is none.
    bool SendRaw(const Bytes& bytes);

    // What goes wrong with the coming answers.
    void Inject(const Fault& fault);
    void ClearFaults();
    // Those that still apply, oldest first.
    std::vector<Fault> Faults() const;

    // All connections, at once: in order, or with a reset.
    void CloseConnection();
    void ResetConnection();
    // New connections are refused until `duration` has passed; 0 accepts them again.
    void RefuseConnections(std::chrono::milliseconds duration);

    // All that arrived, oldest first: frames, and bytes that are none (the latest 65536 of them).
    std::vector<ReceivedFrame> ReceivedFrames() const;
    // Returns as soon as this many have arrived since construction; false if `deadline` passes first. Their answers
    // have then been passed to their connection, unless a fault keeps them.
    bool WaitForFrames(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;

    // Tells the observer something that did not come from the gateway; may hold several lines.
    void Notice(const std::string& text);

  private:
    class Loop;

    std::size_t whitelistCapacity_;
    std::unique_ptr<Loop> loop_;
};

}  // namespace Simulator
