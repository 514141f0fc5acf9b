#pragma once

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "proxy/configuration/Configuration.h"
#include "proxy/net/TlsStream.h"
#include "proxy/net/Turns.h"
#include "tools/client/PacketCutter.h"

namespace MuxProxy {

class ClientSession;

// Whom a session tells what happens to it. All calls come from the network loop, and none from within a call by the
// owner but SessionReceived().
class SessionOwner {
  public:
    virtual ~SessionOwner() = default;
    // The client is known by its certificate. The owner may close the session.
    virtual void SessionOpened(ClientSession& session) = 0;
    // False if the text was refused.
    virtual bool SessionReceived(ClientSession& session, const std::string& text) = 0;
    // The last call. `reason` is for people; empty when the client closed its connection.
    virtual void SessionEnded(ClientSession& session, const std::string& reason) = 0;
};

// One client's TLS connection: handshake, packets in, bare texts out.
//
// Nobody waits for a client. What it does not take is kept, up to kMostPending bytes and for kLongestWait, then the
// connection is closed. A client that sends more than kRequestsPerSecond is read more slowly; handshakes, and what one
// sends beyond a request at a time, take turns. For the network loop; lives as long as something is under way on it.
class ClientSession : public std::enable_shared_from_this<ClientSession> {
  public:
    using Socket = boost::asio::ip::tcp::socket;
    static constexpr std::size_t kMostPending = 1U << 20U;
    static constexpr std::chrono::seconds kLongestWait{10};
    static constexpr unsigned kRequestsPerSecond = 100;
    // A refused request takes the share of so many, so that nobody floods the audit with refusals.
    static constexpr unsigned kShareOfRefused = 20;

    // The owner and the turns outlive the loop's last run. Throws std::bad_alloc.
    ClientSession(Socket socket, const Certificates& certificates, const LimitSettings& limits, SessionTurns& turns,
                  SessionOwner& owner);

    void Start();
    // Does nothing on a closed session.
    void Send(const std::string& text);
    // SessionEnded() follows from the loop, once.
    void Close(const std::string& reason);

    // The common name of the certificate; empty before SessionOpened().
    const std::string& Name() const { return name_; }
    // "192.0.2.1" or "2001:db8::1".
    const std::string& Address() const { return address_; }
    // Whether these would let it in now.
    bool IsAcceptedBy(const Certificates& certificates) { return certificates.Accepts(stream_.Connection()); }

  private:
    using Timer = boost::asio::steady_timer;
    using WaitType = Socket::wait_type;

    void AskToShake();
    void Shake();
    void Read();
    void AskToReadOn();
    // At most so many texts and pieces of the stream; asks for a turn if there may be more.
    void ReadSome(unsigned steps);
    // False if there is no whole text.
    bool TakeText();
    // False if there is nothing to read now, and the session waits for it.
    bool ReadPiece();
    void Rest();
    void Write();
    void Refill();
    void Spend(unsigned share) { share_ -= std::min(share, share_); }
    // Calls `next` when the socket is ready for what `result` wants; closes when it is over.
    void After(TlsStream::Result result, void (ClientSession::*next)());
    void Wait(WaitType type, void (ClientSession::*next)());
    void Watch(Timer& timer, std::chrono::milliseconds time, const char* reason);

    Socket socket_;
    TlsStream stream_;
    const LimitSettings limits_;
    SessionTurns& turns_;
    SessionOwner& owner_;
    Timer readTimer_;
    Timer writeTimer_;
    Timer paceTimer_;
    std::string address_;
    std::string name_;
    MuxClient::PacketCutter cutter_;
    std::string pending_;
    bool isWriting_ = false;
    bool isOpen_ = true;
    unsigned share_ = kRequestsPerSecond;
    std::chrono::steady_clock::time_point refilled_;
};

}  // namespace MuxProxy
