#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/dispatch/Dispatcher.h"
#include "proxy/net/Aside.h"
#include "proxy/net/ClientSession.h"
#include "proxy/net/ConnectionRows.h"
#include "proxy/net/Listeners.h"
#include "proxy/net/MuxLink.h"
#include "proxy/services/Services.h"

namespace MuxProxy {

// The running proxy: listens, lets clients in, and connects them through the dispatcher with the Mux. One network loop
// on the thread that calls Run(); it waits for nothing but the network and timers.
class Server : private SessionOwner, private MuxLinkOwner, private DispatcherPorts {
  public:
    // Reads the configuration file anew; throws std::runtime_error if it cannot be used.
    using ReadAgain = std::function<Configuration()>;

    // Reads certificates, opens the audit and the port. Throws std::runtime_error with a sentence for people when one
    // of them cannot be used.
    // `kit` is null for a program without services.
    Server(Configuration configuration, ReadAgain readAgain, const ServiceKit* kit);
    ~Server() override;

    // Until SIGTERM or SIGINT. SIGHUP reads certificates, key, revocation list and rights anew.
    void Run();

  private:
    using SessionPointer = std::shared_ptr<ClientSession>;
    using CertificatesPointer = std::shared_ptr<const Certificates>;

    // What a reload has read, on a thread of its own.
    struct Reading {
        Configuration configuration;
        CertificatesPointer certificates;
        std::vector<std::function<void()>> ofServices;
        // Why nothing changes; empty if all can be used.
        std::string fault;
    };

    void SessionOpened(ClientSession& session) override;
    bool SessionReceived(ClientSession& session, const std::string& text) override;
    void SessionEnded(ClientSession& session, const std::string& reason) override;
    void MuxLinkOpened() override;
    void MuxLinkReceived(const std::string& text) override;
    void MuxLinkLost(const std::string& reason) override;
    void MuxLinkFailed(const std::string& reason) override;
    Time Now() const override { return std::chrono::steady_clock::now(); }
    void SendToClient(ConnectionNumber connection, const std::string& text) override;
    void SendToMux(const std::string& text) override;
    void PostAudited(RequestNumber request, bool isWritten) override;
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) override;
    void EventCame(const AuditRow& event) override { services_.EventCame(event); }
    void RequestTaken(const TakenRequest& request) override { services_.RequestTaken(request); }
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending) override {
        services_.RequestEnded(request, ending);
    }

    void Take(Listeners::Socket socket);
    void WaitForSignal();
    void Reload();
    Reading ReadAnew() const;
    void Apply(const Reading& reading);
    void CheckClients();
    void PlanCheckOfClients();
    // Warns of certificates and a list that end soon, and again every day.
    void WarnOfExpiry();
    void MakeRoomForHandshake();
    void Stop();
    void EndIfAllHaveGone();
    void Plan();

    const Configuration configuration_;
    const ReadAgain readAgain_;
    boost::asio::io_context loop_{1};
    CertificateSettings certificateSettings_;
    CertificatesPointer certificates_;
    Services services_;
    AuditLog audit_;
    ConnectionRows rows_;
    Dispatcher dispatcher_;
    MuxLink mux_;
    boost::asio::signal_set signals_;
    boost::asio::steady_timer timer_;
    boost::asio::steady_timer checkTimer_;
    boost::asio::steady_timer expiryTimer_;
    SessionTurns turns_;
    Aside aside_;
    Listeners listeners_;
    // All connections; those whose handshake is not done, oldest first; and of those that were let in their numbers.
    std::map<ClientSession*, SessionPointer> sessions_;
    std::list<ClientSession*> handshakes_;
    std::map<ClientSession*, ConnectionNumber> numbers_;
    std::map<ConnectionNumber, ClientSession*> clients_;
    // Kept as long as the proxy runs: nobody gets a new allowance by connecting anew.
    std::map<std::string, std::shared_ptr<ClientAccount>> accounts_;
    // By network: an address of IPv4, the first half of one of IPv6.
    std::map<std::string, std::size_t> byNetwork_;
    bool isReading_ = false;
    bool isToReadAgain_ = false;
    bool isEnding_ = false;
};

}  // namespace MuxProxy
