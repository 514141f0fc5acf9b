#include "tools/client/Connection.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace MuxClient {
namespace {

using asio::ip::tcp;

// With these a host that is gone without a word is noticed within half a minute, also while it owes an acknowledgement,
// when no keep-alive is sent.
constexpr int kSecondsUntilKeepAlive = 15;
constexpr int kSecondsBetweenKeepAlives = 5;
constexpr int kUnansweredKeepAlives = 3;
constexpr int kMillisecondsUnacknowledged = 30000;

template <int Name>
using TcpOption = asio::detail::socket_option::integer<IPPROTO_TCP, Name>;

std::string NameOf(const MuxAddress& address) {
    const bool isVersionSix = address.host.find(':') != std::string::npos;
    return (isVersionSix ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

ConnectionError CannotConnect(const std::string& name, const std::string& reason) {
    return ConnectionError("cannot connect to " + name + ": " + reason);
}

}  // namespace

Client::Connection::Connection(const MuxAddress& address, std::chrono::milliseconds timeout)
    : name_(NameOf(address)), stream_(loop_, address) {
    Connect(address, timeout);
    NoticeDeadPeers();
    StartReceiving();
}

void Client::Connection::Connect(const MuxAddress& address, std::chrono::milliseconds timeout) {
    asio::error_code error;
    const auto endpoints = tcp::resolver(loop_).resolve(address.host, std::to_string(address.port), error);
    if (error) {
        throw CannotConnect(name_, error.message());
    }
    std::optional<asio::error_code> result;
    stream_.Connect(endpoints, [&](const asio::error_code& outcome) { result = outcome; });
    loop_.run_for(timeout);
    if (!result) {
        throw CannotConnect(name_,
                            std::string("no ") + stream_.Step() + " within " + std::to_string(timeout.count()) + " ms");
    }
    if (*result && !stream_.Refusal(*result).empty()) {
        throw CertificateError("cannot connect to " + name_ + ": " + stream_.Refusal(*result));
    }
    if (*result) {
        throw CannotConnect(name_, stream_.FaultText(*result));
    }
    loop_.restart();
}

void Client::Connection::NoticeDeadPeers() {
    asio::error_code ignored;
    tcp::socket& socket = stream_.Socket();
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    socket.set_option(TcpOption<TCP_KEEPIDLE>(kSecondsUntilKeepAlive), ignored);
    socket.set_option(TcpOption<TCP_KEEPINTVL>(kSecondsBetweenKeepAlives), ignored);
    socket.set_option(TcpOption<TCP_KEEPCNT>(kUnansweredKeepAlives), ignored);
    socket.set_option(TcpOption<TCP_USER_TIMEOUT>(kMillisecondsUnacknowledged), ignored);
}

void Client::Connection::Send(std::string packet) {
    outbox_.push_back(std::move(packet));
    if (outbox_.size() == 1) {
        StartSending();
    }
}

void Client::Connection::Flush(std::chrono::milliseconds timeout) {
    const Clock::time_point end = Clock::now() + timeout;
    while (!outbox_.empty()) {
        if (!RunLoop(end)) {
            throw ConnectionError(name_ + " accepts no data");
        }
    }
}

bool Client::Connection::Wait(std::chrono::milliseconds duration) {
    const Clock::time_point end = Clock::now() + duration;
    TakeWhatIsThere();
    for (;;) {
        if (DeliverMessage() || DeliverTimeout()) {
            return true;
        }
        const Clock::time_point deadline = requests_.NextDeadline();
        if (!RunLoop(std::min(deadline, end)) && deadline >= end) {
            return false;
        }
    }
}

// When there is no time to wait, the loop would not even look at the socket.
void Client::Connection::TakeWhatIsThere() {
    while (received_.empty() && failure_ == nullptr && loop_.poll_one() > 0) {
    }
}

bool Client::Connection::RunLoop(Clock::time_point end) {
    if (failure_ != nullptr) {
        std::rethrow_exception(failure_);
    }
    return loop_.run_one_until(end) > 0;
}

void Client::Connection::StartReceiving() {
    stream_.Read(asio::buffer(chunk_),
                 [this](const asio::error_code& error, std::size_t count) { OnReceived(error, count); });
}

void Client::Connection::OnReceived(const asio::error_code& error, std::size_t count) {
    if (error) {
        Fail(error);
        return;
    }
    try {
        cutter_.Add({chunk_.data(), count});
        while (const std::optional<std::string> text = cutter_.Next()) {
            received_.push_back(ParseMessage(*text));
        }
        StartReceiving();
    } catch (const ProtocolError& protocolError) {
        failure_ = std::make_exception_ptr(ProtocolError(name_ + " is not a Mux: " + protocolError.what()));
    }
}

void Client::Connection::StartSending() {
    stream_.Write(asio::buffer(outbox_.front()), [this](const asio::error_code& error, std::size_t) { OnSent(error); });
}

// A server that has gone may have said why: it is read first, and then its end.
void Client::Connection::OnSent(const asio::error_code& error) {
    if (error == asio::error::broken_pipe || error == asio::error::connection_reset) {
        return;
    }
    if (error) {
        Fail(error);
        return;
    }
    outbox_.pop_front();
    if (!outbox_.empty()) {
        StartSending();
    }
}

void Client::Connection::Fail(const asio::error_code& error) {
    const std::string refusal = stream_.Refusal(error);
    if (!refusal.empty()) {
        failure_ = std::make_exception_ptr(CertificateError(name_ + ": " + refusal));
        return;
    }
    const bool isEnd = error == asio::error::eof || error == asio::ssl::error::stream_truncated;
    const std::string reason = isEnd ? "" : ": " + error.message();
    const std::string what = error == asio::error::timed_out ? " no longer responds" : " has closed the connection";
    failure_ = std::make_exception_ptr(ConnectionError(name_ + what + reason));
}

bool Client::Connection::DeliverMessage() {
    bool delivered = false;
    while (!delivered && !received_.empty()) {
        const Message message = std::move(received_.front());
        received_.pop_front();
        delivered = Deliver(message);
    }
    return delivered;
}

bool Client::Connection::Deliver(const Message& message) {
    if (message.IsEvent()) {
        // A copy, because the handler may set another one.
        const EventHandler handler = onEvent_;
        if (handler) {
            handler(message);
        }
        return handler != nullptr;
    }
    const AnswerHandler handler = requests_.Take(message.id);
    if (handler) {
        handler(message);
    }
    return handler != nullptr;
}

bool Client::Connection::DeliverTimeout() {
    const AnswerHandler handler = requests_.TakeExpired();
    if (handler) {
        handler(std::nullopt);
    }
    return handler != nullptr;
}

}  // namespace MuxClient
