#include "tools/gateway-simulator/Listener.h"

#include <system_error>
#include <utility>

namespace Simulator {
namespace {

// Before an accept that failed (no descriptors left), or a port that somebody else took meanwhile, is tried again.
constexpr std::chrono::milliseconds kRetryTime{50};

}  // namespace

Listener::Listener(asio::io_context& loop, Accepted accepted)
    : loop_(loop), accepted_(std::move(accepted)), timer_(loop) {}

void Listener::Open(const std::string& host, std::uint16_t port) {
    endpoint_ = asio::ip::tcp::endpoint(asio::ip::make_address(host), port);
    Listen();
    endpoint_ = acceptor_->local_endpoint();
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

// Replaces the acceptor only when the new one listens, so that a failure leaves none behind.
void Listener::Listen() {
    acceptor_ = std::make_shared<Acceptor>(loop_, endpoint_);
    Accept();
}

void Listener::Accept() {
    acceptor_->async_accept([this, acceptor = acceptor_](const asio::error_code& error, asio::ip::tcp::socket socket) {
        // The last word of an acceptor that was closed may come when its successor listens already.
        if (acceptor == acceptor_) {
            OnAccepted(error, std::move(socket));
        }
    });
}

void Listener::OnAccepted(const asio::error_code& error, asio::ip::tcp::socket socket) {
    if (error) {
        RefuseFor(kRetryTime);
        return;
    }
    Accept();
    accepted_(std::move(socket));
}

void Listener::StopListening() {
    if (acceptor_ != nullptr) {
        asio::error_code ignored;
        acceptor_->close(ignored);
        acceptor_.reset();
    }
}

void Listener::ResumeAfter(std::chrono::milliseconds duration) {
    timer_.expires_after(duration);
    timer_.async_wait([this](const asio::error_code& error) {
        if (!error && open_ && acceptor_ == nullptr) {
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
