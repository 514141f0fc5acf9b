#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "net/OpenSocket.h"
#include "net/PacketCutter.h"

namespace Brenk::Net {

// Which connection is meant: descriptor numbers come back, serial numbers do not. So an answer for a client that
// has gone never reaches the newcomer that was given its number.
struct ClientIdentity {
    int descriptor = -1;
    std::uint64_t serial = 0;  // 1 for the first client of the process; 0 for none
};

// How much of a buffer left, and what kept the rest back.
struct SendOutcome {
    std::size_t sent = 0;
    int error = 0;  // 0 when everything was sent
};

// What became of a client when what had arrived was taken.
enum class DrainResult {
    kStays,
    kClosedByPeer,  // the client has closed its side; bytes of an unfinished packet are dropped
    kHopeless,      // what it sent can never become a packet
};

// One connected client: its socket and what has arrived of its next packet.
//
// Shared by the client list and by the thread that sends to it or receives from it right now. Send may run beside
// Drain; Drain belongs to the receive thread.
class ClientConnection {
  public:
    // Takes over the descriptor and sets the options of a client connection: answers leave at once, a client that
    // does not read for 2 s fails the send, and one that vanished is noticed by TCP after 110 s, whether or not
    // something was under way to it.
    ClientConnection(int descriptor, std::uint64_t serial);

    ClientIdentity Identity() const;
    int Descriptor() const;

    // Ends the connection; the descriptor is released with the last holder.
    void ShutDown();
    bool IsShutDown() const;

    // Sends the whole buffer, or as much of it as the client takes.
    SendOutcome Send(const std::vector<unsigned char>& data);

    // Receives what has arrived, without waiting and at most kDrainBytes, and adds each packet that is now complete
    // to `packets`. The client is to be closed unless it stays.
    DrainResult Drain(std::vector<std::vector<unsigned char>>& packets);

    // The most that one pass takes from one client, so that a client that never pauses does not starve the others.
    static constexpr std::size_t kDrainBytes = 65536;

  private:
    void SetReceiveTimeout() const;
    bool HasMore() const;

    OpenSocket socket_;
    const std::uint64_t serial_;
    PacketCutter cutter_;
};

using ClientPointer = std::shared_ptr<ClientConnection>;

}  // namespace Brenk::Net
