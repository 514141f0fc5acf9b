#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "proxy/configuration/Configuration.h"
#include "proxy/net/ClientAccount.h"
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
// connection is closed. A client is read at the pace of its account; handshakes, and what one sends beyond a request at
// a time, take turns. For the network loop; lives as long as something is under way on it.
class ClientSession : public std::enable_shared_from_this<ClientSession> {
  public:
    using Socket = boost::asio::ip::tcp::socket;
    static constexpr std::size_t kMostPending = 1U << 20U;
    static constexpr std::chrono::seconds kLongestWait{10};

    // The owner and the turns outlive the loop's last run. Throws std::bad_alloc.
    ClientSession(Socket socket, std::shared_ptr<const Certificates> certificates, const LimitSettings& limits,
                  SessionTurns& turns, SessionOwner& owner);
    ~ClientSession();

    void Start();
    // Its client's, from SessionOpened() on. Without one nothing is read or sent.
    void SetAccount(std::shared_ptr<ClientAccount> account) { account_ = std::move(account); }
    // Does nothing on a closed session.
    void Send(const std::string& text);
    // SessionEnded() follows from the loop, once.
    void Close(const std::string& reason);
    // When all is sent that was given to Send().
    void CloseWhenSent(const std::string& reason);

    // The common name of the certificate; empty before SessionOpened().
    const std::string& Name() const { return name_; }
    // "192.0.2.1" or "2001:db8::1".
    const std::string& Address() const { return address_; }
    // Closes it if these do not let it in, or not any more; takes a turn to look.
    void CheckAgain(std::shared_ptr<const Certificates> certificates);
    // Whether these would let it in now.
    bool IsAcceptedBy(const Certificates& certificates) { return certificates.Accepts(stream_.Connection()); }
    bool IsMadeWith(const std::shared_ptr<const Certificates>& certificates) const {
        return certificates_ == certificates;
    }

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
    void Rest(std::chrono::milliseconds time);
    void Write();
    void DropPending();
    // Calls `next` when the socket is ready for what `result` wants; closes when it is over.
    void After(TlsStream::Result result, void (ClientSession::*next)());
    void Wait(WaitType type, void (ClientSession::*next)());
    void Watch(Timer& timer, std::chrono::milliseconds time, const char* reason);

    Socket socket_;
    const std::shared_ptr<const Certificates> certificates_;
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
    std::shared_ptr<ClientAccount> account_;
    // Why it closes when all is sent.
    std::optional<std::string> ending_;
    bool isWriting_ = false;
    bool isOpen_ = true;
};

}  // namespace MuxProxy
