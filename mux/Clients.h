#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "net/ClientConnection.h"
#include "net/ServerSocket.h"

namespace Mux {

// The clients, from the sender's view. Owns the server socket.
//
// Other threads see the server socket from just before it is opened until Close(). Before that there are no clients.
class Clients {
  public:
    // Keeps `serverSocket`, whose callbacks are set, opens its port and starts its loops. False, with a line, when that
    // cannot be done. Once; main thread.
    bool Open(std::unique_ptr<Brenk::Net::ServerSocket> serverSocket);

    // Whether Open() was called, successful or not. Main thread.
    bool IsOpened() const { return owned_ != nullptr; }

    // Closes the port and all clients, and waits for the loops. No other thread may send meanwhile.
    void Close();

    // Who has this descriptor now. Without a server socket a client that nothing reaches. Any thread.
    Brenk::Net::ClientIdentity IdentityOf(int descriptor) const;

    // Sends one message. False when the client has gone or does not take it. Any thread.
    bool Send(const Brenk::Net::ClientIdentity& client, const std::vector<unsigned char>& bytes) const;

    // All that are connected at this moment. Any thread.
    std::vector<Brenk::Net::ClientIdentity> Connected() const;

  private:
    std::unique_ptr<Brenk::Net::ServerSocket> owned_;
    std::atomic<Brenk::Net::ServerSocket*> visible_{nullptr};
};

}  // namespace Mux
