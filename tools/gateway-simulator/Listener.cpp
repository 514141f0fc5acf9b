#include "tools/gateway-simulator/Listener.h"

#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace Simulator {
namespace {

// Before an accept that failed (no descriptors left), or a port that somebody else took meanwhile, is tried again.
constexpr std::chrono::milliseconds kRetryTime{50};

using asio::ip::tcp;

// Each once: the system's tables may have two lines for a name.
std::set<tcp::endpoint> EndpointsOf(asio::io_context& loop, const std::string& host, std::uint16_t port) {
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(host, error);
    if (!error) {
        return {{address, port}};
    }
    std::set<tcp::endpoint> endpoints;
    for (const auto& entry : tcp::resolver(loop).resolve(host, std::to_string(port))) {
        endpoints.insert(entry.endpoint());
    }
    return endpoints;
}

// A name may have an IPv6 address on a host without IPv6.
bool IsMissingHere(const std::error_code& error) {
    return error == std::errc::address_not_available || error == std::errc::address_family_not_supported;
}

}  // namespace

Listener::Listener(asio::io_context& loop, Accepted accepted)
    : loop_(loop), accepted_(std::move(accepted)), timer_(loop) {}

void Listener::Open(const std::string& host, std::uint16_t port) {
    const std::set<tcp::endpoint> endpoints = EndpointsOf(loop_, host, port);
    endpoints_.assign(endpoints.begin(), endpoints.end());
    Listen();
    endpoints_.clear();
    for (const std::shared_ptr<Acceptor>& acceptor : acceptors_) {
        endpoints_.push_back(acceptor->local_endpoint());
    }
    open_ = true;
}

void Listener::Close() {
    open_ = false;
    timer_.cancel();
    StopListening();
}

void Listener::RefuseFor(std::chrono::milliseconds duration) {
    if (!open_) {
        return;
    }
    StopListening();
    ResumeAfter(duration);
}

// All have the port of the first.
Listener::Acceptors Listener::MakeAcceptors() {
    Acceptors acceptors;
    std::optional<std::system_error> missing;
    for (tcp::endpoint endpoint : endpoints_) {
        endpoint.port(acceptors.empty() ? endpoint.port() : acceptors.front()->local_endpoint().port());
        try {
            acceptors.push_back(std::make_shared<Acceptor>(loop_, endpoint));
        } catch (const std::system_error& error) {
            if (!IsMissingHere(error.code())) {
                throw;
            }
            missing = error;
        }
    }
    if (acceptors.empty() && missing) {
        throw std::system_error(*missing);
    }
    return acceptors;
}

// Replaces the acceptors only when all new ones listen, so that a failure leaves none behind.
void Listener::Listen() {
    acceptors_ = MakeAcceptors();
    for (const std::shared_ptr<Acceptor>& acceptor : acceptors_) {
        Accept(acceptor);
    }
}

void Listener::Accept(const std::shared_ptr<Acceptor>& acceptor) {
    acceptor->async_accept([this, acceptor](const asio::error_code& error, tcp::socket socket) {
        // The last word of an acceptor that was closed may come when its successor listens already.
        if (acceptor->is_open()) {
            OnAccepted(acceptor, error, std::move(socket));
        }
    });
}

void Listener::OnAccepted(const std::shared_ptr<Acceptor>& acceptor, const asio::error_code& error,
                          tcp::socket socket) {
    if (error) {
        RefuseFor(kRetryTime);
        return;
    }
    Accept(acceptor);
    accepted_(std::move(socket));
}

void Listener::StopListening() {
    for (const std::shared_ptr<Acceptor>& acceptor : acceptors_) {
        asio::error_code ignored;
        acceptor->close(ignored);
    }
    acceptors_.clear();
}

void Listener::ResumeAfter(std::chrono::milliseconds duration) {
    timer_.expires_after(duration);
    timer_.async_wait([this](const asio::error_code& error) {
        if (!error && open_ && acceptors_.empty()) {
            Resume();
        }
    });
}

void Listener::Resume() {
    try {
        Listen();
    } catch (const std::system_error&) {
        ResumeAfter(kRetryTime);
    }
}

}  // namespace Simulator
