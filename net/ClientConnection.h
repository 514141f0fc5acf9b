#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "net/ClientOutput.h"
#include "net/OpenSocket.h"
#include "net/PacketCutter.h"

namespace Brenk::Net {

// Which connection is meant: descriptor numbers come back, serial numbers do not. So an answer for a client that
// has gone never reaches the newcomer that was given its number.
struct ClientIdentity {
    int descriptor = -1;
    std::uint64_t serial = 0;  // 1 for the first client of the process; 0 for none
};

// What became of a client when what had arrived was taken.
enum class DrainResult {
    kStays,
    kClosedByPeer,   // the client has closed its side; bytes of an unfinished packet are dropped
    kUnrecoverable,  // what it sent can never become a packet
};

// One connected client: its socket, its incomplete packet and its pending output.
//
// Shared by the client list and the thread that is sending to it or receiving from it. Output() may be used
// concurrently with Drain; Drain and LookAtWindow belong to the receive thread.
class ClientConnection {
  public:
    // Takes over the descriptor, unless it throws for lack of memory, and sets the socket options: answers leave at
    // once, and TCP detects a vanished client within 110 s, idle or not. The budget must outlive it.
    ClientConnection(int descriptor, std::uint64_t serial, OutputBudget& budget);

    ClientIdentity Identity() const;
    int Descriptor() const;

    // Ends the connection; the descriptor is released with the last holder.
    void ShutDown();
    bool IsShutDown() const;

    // The stream to the client. Any thread.
    ClientOutput& Output() { return output_; }
    const ClientOutput& Output() const { return output_; }

    // To be called every some ten seconds: keeps TCP from ending a client whose receive window has been closed for
    // long, as long as it acknowledges that. Does nothing for one that was sent nothing since the last call.
    void LookAtWindow();

    // Receives what has arrived, without waiting and at most kDrainBytes, and adds each packet that is now complete
    // to `packets`. The client is to be closed unless it stays.
    DrainResult Drain(std::vector<std::vector<unsigned char>>& packets);

    // The most that one pass takes from one client, so that a client that never pauses does not starve the others.
    static constexpr std::size_t kDrainBytes = 65536;

  private:
    void SetReceiveTimeout() const;
    bool HasMore() const;
    void SetUserTimeout(int timeout);

    const std::uint64_t serial_;
    PacketCutter cutter_;
    ClientOutput output_;
    // The receive thread's own.
    int userTimeout_;
    bool isOutstanding_ = false;
    // The last: as long as memory may lack for another, the descriptor is the caller's.
    OpenSocket socket_;
};

using ClientPointer = std::shared_ptr<ClientConnection>;

}  // namespace Brenk::Net
