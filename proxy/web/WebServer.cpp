#include "proxy/web/WebServer.h"

#include <algorithm>
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
}

void WebServer::End(std::function<void()> ended) {
    ended_ = std::move(ended);
    for (const auto& [session, owned] : sessions_) {
        session->Finish();
    }
}

void WebServer::Take(Listeners::Socket socket) {
    const auto session =
        std::make_shared<HttpSession>(std::move(socket), certificates_, turns_, static_cast<HttpOwner&>(*this));
    const std::string network = NetworkOf(session->Address());
    if (!MakeRoom(network)) {
        return;
    }
    ++byNetwork_[network];
    sessions_.emplace(session.get(), session);
    byAge_.push_back(session.get());
    session->Start(kHandshake);
}

bool WebServer::MakeRoom(const std::string& network) {
    const auto ofNetwork = byNetwork_.find(network);
    const bool isFullOfIt = ofNetwork != byNetwork_.end() && ofNetwork->second >= kMostOfNetwork;
    if (!isFullOfIt && sessions_.size() < kMostConnections) {
        return true;
    }
    const auto oldest = std::find_if(byAge_.begin(), byAge_.end(), [&](const HttpSession* session) {
        return session->IsThere() && !session->IsKnown() && (!isFullOfIt || NetworkOf(session->Address()) == network);
    });
    if (oldest == byAge_.end()) {
        return false;
    }
    (*oldest)->Close("others wanted its place");
    return true;
}

void WebServer::HttpOpened(HttpSession& session) {
    if (!session.Fingerprint().empty() && !session.IsMadeWith(certificates_) && !session.IsAcceptedBy(*certificates_)) {
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
    byAge_.remove(&session);
    const auto ofNetwork = byNetwork_.find(NetworkOf(session.Address()));
    if (--ofNetwork->second == 0) {
        byNetwork_.erase(ofNetwork);
    }
    sessions_.erase(&session);
    if (ended_ && sessions_.empty()) {
        ended_();
    }
}

void WebServer::SetCertificates(std::shared_ptr<const Certificates> certificates) {
    certificates_ = std::move(certificates);
    CheckCertificates();
}

void WebServer::CheckCertificates() {
    for (const auto& [session, owned] : sessions_) {
        if (!session->Fingerprint().empty()) {
            session->CheckAgain(certificates_);
        }
    }
}

}  // namespace MuxProxy
