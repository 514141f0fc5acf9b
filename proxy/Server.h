#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/dispatch/Dispatcher.h"
#include "proxy/net/ClientSession.h"
#include "proxy/net/MuxLink.h"

namespace MuxProxy {

// The running proxy: listens, lets clients in, and connects them through the dispatcher with the Mux. One network loop
// on the thread that calls Run(); it waits for nothing but the network and timers.
class Server : private SessionOwner, private MuxLinkOwner, private DispatcherPorts {
  public:
    // Reads the configuration file anew; throws std::runtime_error if it cannot be used.
    using ReadAgain = std::function<Configuration()>;

    // Reads certificates, opens the audit and the port. Throws std::runtime_error with a sentence for people when one
    // of them cannot be used.
    Server(Configuration configuration, ReadAgain readAgain);
    ~Server() override;

    // Until SIGTERM or SIGINT. SIGHUP reads certificates, key, revocation list and rights anew.
    void Run();

  private:
    using Tcp = boost::asio::ip::tcp;

    struct Listener {
        Tcp::acceptor acceptor;
        // Of its pause when there are no descriptors.
        boost::asio::steady_timer timer;
    };

    using SessionPointer = std::shared_ptr<ClientSession>;

    void SessionOpened(ClientSession& session) override;
    bool SessionReceived(ClientSession& session, const std::string& text) override;
    void SessionEnded(ClientSession& session, const std::string& reason) override;
    void MuxLinkOpened() override;
    void MuxLinkReceived(const std::string& text) override;
    void MuxLinkLost(const std::string& reason) override;
    void MuxLinkFailed(const std::string& reason) override;
    Time Now() const override { return std::chrono::steady_clock::now(); }
    void SendToClient(ClientNumber client, const std::string& text) override;
    void SendToMux(const std::string& text) override;
    void PostAudited(RequestNumber request, bool isWritten) override;

    void Listen();
    void Accept(Listener& listener);
    void Take(Tcp::socket socket);
    void WaitForSignal();
    void Reload();
    void Stop();
    void Plan();
    void NoteConnection(const ClientSession& session, const char* operation, const std::string& remark);
    void NoteTurnedAway(const ClientSession& session, const std::string& reason);

    const Configuration configuration_;
    const ReadAgain readAgain_;
    boost::asio::io_context loop_{1};
    std::unique_ptr<const Certificates> certificates_;
    AuditLog audit_;
    Dispatcher dispatcher_;
    MuxLink mux_;
    boost::asio::signal_set signals_;
    boost::asio::steady_timer timer_;
    SessionTurns turns_;
    std::list<Listener> listeners_;
    // All connections, and of those that were let in their numbers.
    std::map<ClientSession*, SessionPointer> sessions_;
    std::map<ClientSession*, ClientNumber> numbers_;
    std::map<ClientNumber, ClientSession*> clients_;
    std::map<std::string, std::size_t> byName_;
    std::map<std::string, std::size_t> byAddress_;
    // Turned away since the last row about it, and when that was.
    std::size_t turnedAway_ = 0;
    std::optional<Time> turnedAwayNoted_;
    bool isEnding_ = false;
};

}  // namespace MuxProxy
