#include "proxy/net/Listeners.h"

#include <boost/asio/ip/v6_only.hpp>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;

constexpr std::chrono::milliseconds kPause{200};

asio::ip::tcp::acceptor Open(asio::io_context& loop, const asio::ip::tcp::endpoint& endpoint) {
    asio::ip::tcp::acceptor acceptor(loop);
    acceptor.open(endpoint.protocol());
    if (endpoint.protocol() == asio::ip::tcp::v6()) {
        acceptor.set_option(asio::ip::v6_only(true));
    }
    acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen();
    return acceptor;
}

}  // namespace

Listeners::Listeners(asio::io_context& loop, const std::vector<std::string>& addresses, std::uint16_t port) {
    for (const std::string& address : addresses) {
        try {
            listeners_.push_back({Open(loop, {asio::ip::make_address(address), port}), asio::steady_timer(loop)});
        } catch (const boost::system::system_error& error) {
            throw std::runtime_error("cannot listen on " + address + " port " + std::to_string(port) + ": " +
                                     error.code().message());
        }
    }
}

void Listeners::Start(std::function<void(Socket)> taken) {
    taken_ = std::move(taken);
    for (Listener& listener : listeners_) {
        Accept(listener);
    }
}

void Listeners::Accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](const Error& error, Socket socket) {
        if (isStopped_) {
            return;
        }
        if (!error) {
            taken_(std::move(socket));
            Accept(listener);
            return;
        }
        listener.timer.expires_after(kPause);
        listener.timer.async_wait([this, &listener](const Error& aborted) {
            if (!aborted && !isStopped_) {
                Accept(listener);
            }
        });
    });
}

void Listeners::Stop() {
    isStopped_ = true;
    for (Listener& listener : listeners_) {
        Error ignored;
        listener.acceptor.close(ignored);
        listener.timer.cancel();
    }
}

}  // namespace MuxProxy
