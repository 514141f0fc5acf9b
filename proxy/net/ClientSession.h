#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "proxy/configuration/Configuration.h"
#include "proxy/net/ClientAccount.h"
#include "proxy/net/TlsSession.h"
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

// One client's TLS connection: packets in, bare texts out.
//
// What the client does not take is kept, up to kMostPending bytes. It is read at the pace of its account; what it sends
// beyond a request at a time takes turns. For the network loop.
class ClientSession : public TlsSession {
  public:
    static constexpr std::size_t kMostPending = 1U << 20U;

    // The owner and the turns outlive the loop's last run. Throws std::bad_alloc.
    ClientSession(Socket socket, std::shared_ptr<const Certificates> certificates, const LimitSettings& limits,
                  SessionTurns& turns, SessionOwner& owner);
    ~ClientSession() override;

    // Its client's, from SessionOpened() on. Without one nothing is read or sent.
    void SetAccount(std::shared_ptr<ClientAccount> account) { account_ = std::move(account); }
    // Does nothing on a closed session.
    void Send(const std::string& text);

    // The common name of the certificate; empty before SessionOpened().
    const std::string& Name() const { return name_; }

  private:
    void Shaken() override;
    void Read() override;
    void NoLongerPending(std::size_t count) override;
    void Ended(const std::string& reason) override;

    void AskToReadOn();
    // At most so many texts and pieces of the stream; asks for a turn if there may be more.
    void ReadSome(unsigned steps);
    // False if there is no whole text.
    bool TakeText();
    // False if there is nothing to read now, and the session waits for it.
    bool ReadPiece();
    void Rest(std::chrono::milliseconds time);

    const std::chrono::seconds idle_;
    SessionOwner& owner_;
    Timer paceTimer_;
    std::string name_;
    MuxClient::PacketCutter cutter_;
    std::shared_ptr<ClientAccount> account_;
};

}  // namespace MuxProxy
