#include "proxy/web/WebServer.h"

#include <utility>

#include "proxy/net/Network.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

}  // namespace

std::shared_ptr<const Certificates> WebServer::ReadCertificates(const Configuration& configuration) {
    CertificateSettings settings = configuration.certificates;
    settings.certificate = configuration.web->certificate;
    settings.key = configuration.web->key;
    return std::make_shared<const Certificates>(settings, Certificates::Peers::kAll);
}

WebServer::WebServer(boost::asio::io_context& loop, const Configuration& configuration, WebRequestHandler& handler)
    : handler_(handler),
      certificates_(ReadCertificates(configuration)),
      turns_(loop),
      listeners_(loop, configuration.web->addresses, configuration.web->port) {}

WebServer::~WebServer() = default;

void WebServer::Start() {
    listeners_.Start([this](Listeners::Socket socket) { Take(std::move(socket)); });
}

void WebServer::Stop() {
    listeners_.Stop();
    for (const auto& [session, owned] : sessions_) {
        session->CloseWhenSent("the proxy ends");
    }
}

void WebServer::Take(Listeners::Socket socket) {
    const auto session =
        std::make_shared<HttpSession>(std::move(socket), certificates_, turns_, static_cast<HttpOwner&>(*this));
    const std::string network = NetworkOf(session->Address());
    const auto ofNetwork = byNetwork_.find(network);
    if (ofNetwork != byNetwork_.end() && ofNetwork->second >= kMostOfNetwork) {
        return;
    }
    ++byNetwork_[network];
    MakeRoomForHandshake();
    sessions_.emplace(session.get(), session);
    handshakes_.push_back(session.get());
    session->Start(kHandshake);
}

// Strangers who never end theirs make room for others.
void WebServer::MakeRoomForHandshake() {
    if (sessions_.size() >= kMostConnections && !handshakes_.empty()) {
        handshakes_.front()->Close("others wanted its place before its handshake was done");
        handshakes_.pop_front();
    }
}

void WebServer::HttpOpened(HttpSession& session) {
    handshakes_.remove(&session);
    if (sessions_.size() > kMostConnections) {
        session.Close("too many connections");
    } else if (!session.Fingerprint().empty() && !session.IsMadeWith(certificates_) &&
               !session.IsAcceptedBy(*certificates_)) {
        session.Close("its certificate is not accepted any more");
    }
}

void WebServer::HttpReceived(HttpSession& session, HttpRequest request) {
    handler_.HandleRequest(session, std::move(request));
}

HttpResponse WebServer::HttpFault(http::status status) {
    return handler_.FaultResponse(status);
}

bool WebServer::HasRoom() const {
    std::size_t waiting = 0;
    for (const auto& [session, owned] : sessions_) {
        waiting += session->WaitingBytes();
    }
    return waiting < kMostWaiting;
}

void WebServer::HttpEnded(HttpSession& session) {
    handler_.SessionGone(session);
    handshakes_.remove(&session);
    const auto ofNetwork = byNetwork_.find(NetworkOf(session.Address()));
    if (--ofNetwork->second == 0) {
        byNetwork_.erase(ofNetwork);
    }
    sessions_.erase(&session);
}

void WebServer::SetCertificates(std::shared_ptr<const Certificates> certificates) {
    certificates_ = std::move(certificates);
    for (const auto& [session, owned] : sessions_) {
        if (!session->Fingerprint().empty()) {
            session->CheckAgain(certificates_);
        }
    }
}

}  // namespace MuxProxy
