#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "net/OpenSocket.h"
#include "threading/Synchronized.h"

struct addrinfo;

namespace Brenk::Net {

// The TCP connection from a virtual gateway to its lock gateway.
//
// One thread may send while another receives; Close() may come from either or a third and wakes them. Callers hold the
// object by shared_ptr, because an error callback may make the owner drop it while the failed call is still on the
// stack.
//
// Every failure is a false result and a log line, followed by a line with the gateway's address if the gateway failed.
// Unrecoverable failures are then reported to the error guard: those of an established connection after the callback,
// all others at once. No exception leaves the class.
class ClientSocket {
  public:
    // Takes the error number (0: the peer closed the connection) and the context that was set.
    using ErrorCallback = void (*)(int errorNumber, void* context);

    // `host` is an address or a name, as the configuration has it; a `port` outside 0..65535 fails to resolve.
    // `connectionTimeout` bounds connecting and every send.
    ClientSocket(std::string host, int port, std::chrono::milliseconds connectionTimeout);

    ClientSocket(const ClientSocket&) = delete;
    ClientSocket& operator=(const ClientSocket&) = delete;

    // Called on the thread whose Send or Receive failed, never for a connection that Close() ended. Set before
    // Connect; `context` is handed back as it is.
    void SetCallbacks(ErrorCallback sendError, ErrorCallback receiveError, void* context);

    // Resolves, connects and sets time-outs and keep-alive. A connection that was open is replaced.
    bool Connect();

    // One send of the whole vector. False without a connection, or when the send fails (the send-error callback has
    // then been called). A partial send is neither completed nor repeated.
    bool Send(std::vector<unsigned char>& data);

    // Waits up to 11 s for bytes and appends them to `received`, which should be empty, until it holds exactly one
    // gateway frame (its first byte is its length) or until nothing more comes for 11 s. True then, also with nothing
    // received; false when the connection ended or failed, with what was received before still appended.
    bool Receive(std::vector<unsigned char>& received);

    // Ends the connection if there is one.
    void Close();

    // Switches on TCP keep-alive: 5 s idle, 10 probes, 5 s apart. False, with a line, at the first failure.
    bool SetKeepAliveOption(int descriptor);

    // Whether there is a connection and it has a pending error (SO_ERROR), or cannot be asked for it.
    bool HasPendingError() const;

  private:
    using SocketPointer = std::shared_ptr<OpenSocket>;

    SocketPointer CurrentSocket() const;
    SocketPointer OpenConnection(const addrinfo& address);
    void SetTimeouts(int descriptor);
    bool ReadFrame(const OpenSocket& socket, std::vector<unsigned char>& received);
    bool EndOfStream(const OpenSocket& socket);
    bool ReceiveFailed(const OpenSocket& socket, int error);
    void ConnectionFailed(int error, ErrorCallback callback) const;
    void LogGatewayFailure(const std::string& reason) const;

    const std::string host_;
    const int port_;
    const std::chrono::milliseconds connectionTimeout_;
    ErrorCallback sendError_ = nullptr;
    ErrorCallback receiveError_ = nullptr;
    void* context_ = nullptr;
    Threading::Synchronized<SocketPointer> socket_;
};

}  // namespace Brenk::Net
