#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "proxy/configuration/Configuration.h"
#include "proxy/net/Listeners.h"
#include "proxy/net/Turns.h"
#include "proxy/web/HttpSession.h"

namespace MuxProxy {

// What the pages' site makes of requests. For the network loop.
class WebRequestHandler {
  public:
    virtual ~WebRequestHandler() = default;
    // HttpSession::Answer() or BeginStream() follows once.
    virtual void HandleRequest(HttpSession& session, HttpRequest request) = 0;
    virtual HttpResponse FaultResponse(boost::beast::http::status status) = 0;
    virtual void SessionGone(HttpSession& session) = 0;
};

// The port for browsers: who connects, and how many may. For the network loop.
class WebServer : private HttpOwner {
  public:
    static constexpr std::size_t kMostConnections = 400;
    // Strangers, who are not logged in, make room for newcomers when there are so many in all or of a network: an
    // address of IPv4, the first half of one of IPv6. Fifty pages of one
    // office fit.
    static constexpr std::size_t kMostOfNetwork = 200;
    static constexpr std::chrono::seconds kHandshake{10};
    // What may wait for all browsers together before another long answer.
    static constexpr std::size_t kMostWaiting = 24U << 20U;

    // Reads the certificates and opens the port. Throws std::runtime_error with a sentence for people if one of them
    // cannot be used. All outlive it.
    WebServer(boost::asio::io_context& loop, const Configuration& configuration, WebRequestHandler& handler);
    ~WebServer() override;

    void Start();
    // Takes no more connections.
    void Stop();
    // Closes the connections, those that wait for an answer once they were sent it; then calls `ended`.
    void End(std::function<void()> ended);
    bool IsEmpty() const { return sessions_.empty(); }

    // For new connections; closes those whose certificates they do not accept.
    void SetCertificates(std::shared_ptr<const Certificates> certificates);
    // The same with those of now: they may have ended.
    void CheckCertificates();

    // Those of the configuration. Throws as above. Any thread.
    static std::shared_ptr<const Certificates> ReadCertificates(const Configuration& configuration);

  private:
    using SessionPointer = std::shared_ptr<HttpSession>;

    void HttpOpened(HttpSession& session) override;
    void HttpReceived(HttpSession& session, HttpRequest request) override;
    HttpResponse HttpFault(boost::beast::http::status status) override;
    bool HasRoom() const override;
    void HttpEnded(HttpSession& session) override;

    void Take(Listeners::Socket socket);
    // False if all places are taken by those who are logged in.
    bool MakeRoom(const std::string& network);

    WebRequestHandler& handler_;
    std::shared_ptr<const Certificates> certificates_;
    SessionTurns turns_;
    Listeners listeners_;
    std::map<HttpSession*, SessionPointer> sessions_;
    // By their coming: the oldest strangers make room.
    std::list<HttpSession*> byAge_;
    std::map<std::string, std::size_t> byNetwork_;
    std::function<void()> ended_;
};

}  // namespace MuxProxy
