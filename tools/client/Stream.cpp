#include "tools/client/Stream.h"

#include <utility>

#include "tools/client/Tls.h"

namespace MuxClient {
namespace {

constexpr const char* kShaking = "TLS handshake";

}  // namespace

Stream::Stream(asio::io_context& loop, const MuxAddress& address) : socket_(loop), settings_(address.tls) {
    if (settings_) {
        if (settings_->serverName.empty()) {
            settings_->serverName = address.host;
        }
        PrepareTls();
    }
}

void Stream::PrepareTls() {
    context_.emplace(MakeTlsContext(*settings_));
    tls_.emplace(socket_, *context_);
    ExpectServer(*tls_->native_handle(), settings_->serverName);
    tls_->set_verify_callback([this](bool isGood, asio::ssl::verify_context& verification) {
        if (!isGood) {
            refusal_ = WhyRefused(*verification.native_handle(), settings_->serverName);
        }
        return isGood;
    });
}

void Stream::Connect(const Endpoints& endpoints, ConnectHandler handler) {
    asio::async_connect(
        socket_, endpoints,
        [this, handler = std::move(handler)](const asio::error_code& error, const asio::ip::tcp::endpoint&) {
            if (error || !tls_) {
                handler(error);
            } else {
                ShakeHands(handler);
            }
        });
}

void Stream::ShakeHands(ConnectHandler handler) {
    step_ = kShaking;
    tls_->async_handshake(TlsStream::client, std::move(handler));
}

void Stream::Read(asio::mutable_buffer buffer, TransferHandler handler) {
    if (tls_) {
        tls_->async_read_some(buffer, std::move(handler));
    } else {
        socket_.async_read_some(buffer, std::move(handler));
    }
}

void Stream::Write(asio::const_buffer buffer, TransferHandler handler) {
    if (tls_) {
        asio::async_write(*tls_, buffer, std::move(handler));
    } else {
        asio::async_write(socket_, buffer, std::move(handler));
    }
}

// A peer that does not speak TLS may close, or answer something else.
std::string Stream::FaultText(const asio::error_code& error) const {
    const bool isEnd = error == asio::error::eof || error == asio::ssl::error::stream_truncated;
    const std::string reason = isEnd ? "the connection was closed" : error.message();
    return step_ == kShaking ? "no TLS handshake: " + reason : reason;
}

std::string Stream::Refusal(const asio::error_code& error) const {
    if (!settings_ || !refusal_.empty()) {
        return refusal_;
    }
    return WhyRefusedByServer(error, *settings_);
}

}  // namespace MuxClient
