#include "proxy/net/TlsSession.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "proxy/net/KeepAlive.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;
using std::chrono::milliseconds;

constexpr KeepAlive kClientKeepAlive{60, 10, 3, 30};
constexpr const char* kTakesNothing = "it does not take what it is sent";

std::string AddressOf(const TlsSession::Socket& socket) {
    Error error;
    const asio::ip::address address = socket.remote_endpoint(error).address();
    if (error) {
        return "";
    }
    const bool isMapped = address.is_v6() && address.to_v6().is_v4_mapped();
    return isMapped ? asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string() : address.to_string();
}

}  // namespace

TlsSession::TlsSession(Socket socket, std::shared_ptr<const Certificates> certificates, SessionTurns& turns)
    : socket_(std::move(socket)),
      certificates_(std::move(certificates)),
      stream_(certificates_->NewConnection(), socket_.native_handle()),
      turns_(turns),
      readTimer_(socket_.get_executor()),
      writeTimer_(socket_.get_executor()),
      address_(AddressOf(socket_)) {}

TlsSession::~TlsSession() = default;

void TlsSession::Start(milliseconds handshake) {
    Error ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    SetKeepAlive(socket_.native_handle(), kClientKeepAlive);
    Watch(readTimer_, handshake, "the handshake took too long");
    Wait(WaitType::wait_read, &TlsSession::AskToShake);
}

void TlsSession::AskToShake() {
    turns_.handshakes.Ask([this, self = shared_from_this()] {
        if (isOpen_) {
            Shake();
        }
    });
}

void TlsSession::Shake() {
    const TlsStream::Result result = stream_.Shake();
    if (result != TlsStream::Result::kDone) {
        After(result, &TlsSession::AskToShake);
        return;
    }
    StopWatchingReading();
    Shaken();
    if (isOpen_) {
        Read();
    }
}

void TlsSession::After(TlsStream::Result result, Step next) {
    switch (result) {
        case TlsStream::Result::kWantsRead:
            Wait(WaitType::wait_read, next);
            break;
        case TlsStream::Result::kWantsWrite:
            Wait(WaitType::wait_write, next);
            break;
        case TlsStream::Result::kClosed:
            Close("");
            break;
        default:
            Close(stream_.Fault());
    }
}

void TlsSession::Wait(WaitType type, Step next) {
    socket_.async_wait(type, [this, self = shared_from_this(), next](const Error& error) {
        if (isOpen_ && !error) {
            (this->*next)();
        } else {
            Close(error.message());
        }
    });
}

void TlsSession::Watch(Timer& timer, milliseconds time, const char* reason) {
    timer.expires_after(time);
    // The handler may be under way already when the timer is set anew.
    timer.async_wait([this, self = shared_from_this(), &timer, reason](const Error& error) {
        if (!error && timer.expiry() <= std::chrono::steady_clock::now()) {
            Close(reason);
        }
    });
}

std::size_t TlsSession::ReadBytes(char* buffer, std::size_t size) {
    std::size_t count = 0;
    const TlsStream::Result result = stream_.Read(buffer, size, count);
    if (result != TlsStream::Result::kDone) {
        After(result, &TlsSession::Read);
    }
    return count;
}

void TlsSession::Append(std::string_view bytes) {
    pending_ += bytes;
    if (!isWriting_) {
        // From the loop, so that texts which are due together go together.
        isWriting_ = true;
        Watch(writeTimer_, kLongestWait, kTakesNothing);
        asio::post(socket_.get_executor(), [this, self = shared_from_this()] { Write(); });
    }
}

void TlsSession::Write() {
    bool hasWritten = false;
    while (isOpen_ && PendingBytes() > 0) {
        std::size_t count = 0;
        const TlsStream::Result result = stream_.Write(std::string_view(pending_).substr(sent_), count);
        if (result != TlsStream::Result::kDone) {
            if (hasWritten) {
                Watch(writeTimer_, kLongestWait, kTakesNothing);
            }
            After(result, &TlsSession::Write);
            return;
        }
        hasWritten = true;
        TakeOff(count);
    }
    isWriting_ = false;
    writeTimer_.expires_at(Timer::time_point::max());
    pending_.shrink_to_fit();
    if (ending_) {
        Close(*ending_);
    } else if (isOpen_) {
        AllSent();
    }
}

void TlsSession::TakeOff(std::size_t count) {
    sent_ += count;
    if (sent_ > pending_.size() / 2) {
        pending_.erase(0, sent_);
        sent_ = 0;
    }
    NoLongerPending(count);
}

void TlsSession::DropPending() {
    NoLongerPending(PendingBytes());
    pending_.clear();
    sent_ = 0;
}

void TlsSession::CloseWhenSent(const std::string& reason) {
    ending_ = reason;
    if (!isWriting_) {
        Close(reason);
    }
}

void TlsSession::CheckAgain(std::shared_ptr<const Certificates> certificates) {
    turns_.handshakes.Ask([this, self = shared_from_this(), current = std::move(certificates)] {
        if (isOpen_ && !IsAcceptedBy(*current)) {
            Close("its certificate is not accepted any more");
        }
    });
}

void TlsSession::Close(const std::string& reason) {
    if (!std::exchange(isOpen_, false)) {
        return;
    }
    stream_.SayGoodbye();
    DropPending();
    Error ignored;
    socket_.cancel(ignored);
    socket_.shutdown(Socket::shutdown_both, ignored);
    readTimer_.cancel();
    writeTimer_.cancel();
    asio::post(socket_.get_executor(), [this, self = shared_from_this(), reason] { Ended(reason); });
}

}  // namespace MuxProxy
