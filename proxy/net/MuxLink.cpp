#include "proxy/net/MuxLink.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "proxy/net/KeepAlive.h"
#include "tools/client/Errors.h"
#include "tools/client/Packet.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;

constexpr KeepAlive kMuxKeepAlive{4, 3, 2, static_cast<int>(MuxLink::kNoticed.count())};

}  // namespace

MuxLink::MuxLink(asio::io_context& loop, MuxSettings settings, MuxLinkOwner& owner)
    : resolver_(loop), socket_(loop), timer_(loop), settings_(std::move(settings)), owner_(owner) {}

void MuxLink::Start() {
    Resolve();
}

void MuxLink::Resolve() {
    resolver_.async_resolve(settings_.host, std::to_string(settings_.port),
                            [this](const Error& error, const Tcp::resolver::results_type& addresses) {
                                if (error) {
                                    Fail(error.message());
                                } else {
                                    Connect(addresses);
                                }
                            });
}

void MuxLink::Connect(const Tcp::resolver::results_type& addresses) {
    // The kernel tries an address for minutes; the timer ends the attempt.
    timer_.expires_after(kNoticed);
    timer_.async_wait([this](const Error& error) {
        if (!error && !isConnected_) {
            Error ignored;
            socket_.close(ignored);
        }
    });
    asio::async_connect(socket_, addresses, [this](const Error& error, const Tcp::endpoint&) {
        timer_.cancel();
        if (error) {
            Fail(error.message());
        } else {
            Opened();
        }
    });
}

void MuxLink::Opened() {
    Error ignored;
    socket_.set_option(Tcp::no_delay(true), ignored);
    SetKeepAlive(socket_.native_handle(), kMuxKeepAlive);
    isConnected_ = true;
    hasComplained_ = false;
    cutter_ = {};
    owner_.MuxLinkOpened();
    Read();
}

void MuxLink::Read() {
    socket_.async_read_some(asio::buffer(received_), [this](const Error& error, std::size_t size) {
        if (error) {
            Fail(error == asio::error::eof ? "it closed the connection" : error.message());
            return;
        }
        try {
            cutter_.Add({received_.data(), size});
            while (const std::optional<std::string> text = cutter_.Next()) {
                owner_.MuxLinkReceived(*text);
            }
        } catch (const MuxClient::ProtocolError& fault) {
            Fail(fault.what());
            return;
        }
        Read();
    });
}

void MuxLink::Send(const std::string& text) {
    if (!isConnected_) {
        return;
    }
    pending_ += MuxClient::BuildPacket(text);
    if (writing_.empty()) {
        Write();
    }
}

void MuxLink::Write() {
    writing_ = std::exchange(pending_, {});
    asio::async_write(socket_, asio::buffer(writing_), [this](const Error& error, std::size_t) {
        writing_.clear();
        // A failure is what the read reports.
        if (!error && !pending_.empty()) {
            Write();
        }
    });
}

void MuxLink::Fail(const std::string& reason) {
    Error ignored;
    socket_.close(ignored);
    pending_.clear();
    if (isClosed_) {
        return;
    }
    if (std::exchange(isConnected_, false)) {
        owner_.MuxLinkLost(reason);
    } else if (!std::exchange(hasComplained_, true)) {
        owner_.MuxLinkFailed(reason);
    }
    TryLater();
}

void MuxLink::TryLater() {
    timer_.expires_after(kBetweenAttempts);
    timer_.async_wait([this](const Error& error) {
        if (!error && !isClosed_) {
            Resolve();
        }
    });
}

void MuxLink::Close() {
    isClosed_ = true;
    isConnected_ = false;
    resolver_.cancel();
    timer_.cancel();
    Error ignored;
    socket_.close(ignored);
}

}  // namespace MuxProxy
