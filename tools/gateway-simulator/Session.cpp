#include "tools/gateway-simulator/Session.h"

#include <optional>
#include <sstream>
#include <utility>

namespace Simulator {
namespace {

// How long a closed connection waits for the peer to close as well. Closing the descriptor while unread bytes
// are there would reset the connection.
constexpr std::chrono::seconds kLingerTime{5};

std::string DescribePeer(const asio::ip::tcp::socket& socket) {
    asio::error_code error;
    const asio::ip::tcp::endpoint peer = socket.remote_endpoint(error);
    if (error) {
        return "unknown peer";
    }
    std::ostringstream text;
    text << peer;
    return text.str();
}

}  // namespace

Session::Session(asio::ip::tcp::socket socket, std::size_t number, Handlers handlers)
    : socket_(std::move(socket)),
      pauseTimer_(socket_.get_executor()),
      lingerTimer_(socket_.get_executor()),
      number_(number),
      peer_(DescribePeer(socket_)),
      handlers_(std::move(handlers)) {}

void Session::Start() {
    asio::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    Read();
}

void Session::Send(const Bytes& bytes, std::chrono::milliseconds pause) {
    if (ended_ || output_ == Output::kBroken) {
        return;
    }
    held_.insert(held_.end(), bytes.begin(), bytes.end());
    writes_.push_back({std::exchange(held_, {}), pause});
    if (output_ == Output::kIdle) {
        WriteNext();
    }
}

void Session::Hold(const Bytes& bytes) {
    held_.insert(held_.end(), bytes.begin(), bytes.end());
}

void Session::CloseWhenSent() {
    closeWhenSent_ = true;
    if (output_ != Output::kWriting) {
        Close();
    }
}

void Session::Close() {
    if (ended_) {
        return;
    }
    End("closed by the gateway");
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    Linger();
}

void Session::Reset() {
    if (ended_) {
        return;
    }
    End("reset by the gateway");
    asio::error_code ignored;
    socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    CloseSocket();
}

// Not while a read is on its way already, or too much waits to be written. What is left behind once the session has
// ended is read to its end.
void Session::ReadOn() {
    if (!reading_ && (ended_ || writes_.size() <= kMostWaitingWrites)) {
        Read();
    }
}

void Session::Read() {
    reading_ = true;
    socket_.async_read_some(asio::buffer(input_),
                            [self = shared_from_this()](auto error, auto count) { self->OnRead(error, count); });
}

void Session::OnRead(const asio::error_code& error, std::size_t count) {
    reading_ = false;
    if (error) {
        End(error == asio::error::eof ? "closed by the peer" : error.message());
        CloseSocket();
        return;
    }
    Deliver(count);
    ReadOn();
}

void Session::Deliver(std::size_t count) {
    if (ended_) {
        return;
    }
    cutter_.Append(Bytes(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count)));
    for (auto chunk = cutter_.Next(); chunk && !ended_; chunk = cutter_.Next()) {
        handlers_.received(*this, *chunk);
    }
}

void Session::WriteNext() {
    output_ = writes_.empty() || ended_ ? Output::kIdle : Output::kWriting;
    if (output_ == Output::kWriting) {
        asio::async_write(socket_, asio::buffer(writes_.front().bytes),
                          [self = shared_from_this()](auto error, auto) { self->OnWritten(error); });
    } else if (closeWhenSent_) {
        Close();
    }
}

void Session::OnWritten(const asio::error_code& error) {
    if (error) {
        // A read sees the same broken connection and ends the session, once what had arrived before is read.
        writes_.clear();
        output_ = Output::kBroken;
        ReadOn();
        return;
    }
    const std::chrono::milliseconds pause = writes_.front().pause;
    writes_.pop_front();
    ReadOn();
    if (pause.count() > 0 && !writes_.empty()) {
        Pause(pause);
    } else {
        WriteNext();
    }
}

void Session::Pause(std::chrono::milliseconds pause) {
    pauseTimer_.expires_after(pause);
    pauseTimer_.async_wait([self = shared_from_this()](auto) { self->WriteNext(); });
}

void Session::End(const std::string& reason) {
    if (std::exchange(ended_, true)) {
        return;
    }
    const std::size_t unfinished = cutter_.Pending().size();
    const std::string rest =
        unfinished == 0 ? "" : ", " + std::to_string(unfinished) + " bytes of an unfinished frame dropped";
    handlers_.ended(*this, reason + rest);
}

void Session::Linger() {
    lingerTimer_.expires_after(kLingerTime);
    lingerTimer_.async_wait([self = shared_from_this()](auto) { self->CloseSocket(); });
}

void Session::CloseSocket() {
    asio::error_code ignored;
    socket_.close(ignored);
    pauseTimer_.cancel();
    lingerTimer_.cancel();
}

}  // namespace Simulator
