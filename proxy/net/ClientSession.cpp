#include "proxy/net/ClientSession.h"

#include <array>
#include <boost/asio/post.hpp>
#include <utility>

#include "proxy/net/KeepAlive.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;
using std::chrono::milliseconds;

constexpr KeepAlive kClientKeepAlive{60, 10, 3, 30};

// A piece of the stream, the request in it, and that there is nothing more.
constexpr unsigned kStepsAtOnce = 3;
constexpr unsigned kStepsInATurn = 16;

std::string AddressOf(const ClientSession::Socket& socket) {
    Error error;
    const asio::ip::address address = socket.remote_endpoint(error).address();
    if (error) {
        return "";
    }
    const bool isMapped = address.is_v6() && address.to_v6().is_v4_mapped();
    return isMapped ? asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string() : address.to_string();
}

}  // namespace

ClientSession::ClientSession(Socket socket, std::shared_ptr<const Certificates> certificates,
                             const LimitSettings& limits, SessionTurns& turns, SessionOwner& owner)
    : socket_(std::move(socket)),
      certificates_(std::move(certificates)),
      stream_(certificates_->NewConnection(), socket_.native_handle()),
      limits_(limits),
      turns_(turns),
      owner_(owner),
      readTimer_(socket_.get_executor()),
      writeTimer_(socket_.get_executor()),
      paceTimer_(socket_.get_executor()),
      address_(AddressOf(socket_)) {}

ClientSession::~ClientSession() {
    DropPending();
}

void ClientSession::Start() {
    Error ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    SetKeepAlive(socket_.native_handle(), kClientKeepAlive);
    Watch(readTimer_, limits_.handshake, "the handshake took too long");
    Wait(WaitType::wait_read, &ClientSession::AskToShake);
}

void ClientSession::AskToShake() {
    turns_.handshakes.Ask([self = shared_from_this()] {
        if (self->isOpen_) {
            self->Shake();
        }
    });
}

void ClientSession::Shake() {
    const TlsStream::Result result = stream_.Shake();
    if (result != TlsStream::Result::kDone) {
        After(result, &ClientSession::AskToShake);
        return;
    }
    readTimer_.expires_at(Timer::time_point::max());
    name_ = PeerName(stream_.Connection());
    if (name_.empty()) {
        Close("its certificate has no usable common name");
        return;
    }
    owner_.SessionOpened(*this);
    Read();
}

void ClientSession::After(TlsStream::Result result, void (ClientSession::*next)()) {
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

void ClientSession::Wait(WaitType type, void (ClientSession::*next)()) {
    socket_.async_wait(type, [self = shared_from_this(), next](const Error& error) {
        if (self->isOpen_ && !error) {
            (self.get()->*next)();
        } else {
            self->Close(error.message());
        }
    });
}

void ClientSession::Watch(Timer& timer, milliseconds time, const char* reason) {
    timer.expires_after(time);
    // The handler may be under way already when the timer is set anew.
    timer.async_wait([self = shared_from_this(), &timer, reason](const Error& error) {
        if (!error && timer.expiry() <= std::chrono::steady_clock::now()) {
            self->Close(reason);
        }
    });
}

void ClientSession::Read() {
    ReadSome(kStepsAtOnce);
}

void ClientSession::AskToReadOn() {
    turns_.readings.Ask([self = shared_from_this()] { self->ReadSome(kStepsInATurn); });
}

void ClientSession::ReadSome(unsigned steps) {
    for (; isOpen_ && steps > 0; --steps) {
        if (const milliseconds rest = account_->Rest(); rest.count() > 0) {
            Rest(rest);
            return;
        }
        if (!TakeText() && !ReadPiece()) {
            return;
        }
    }
    if (isOpen_) {
        AskToReadOn();
    }
}

bool ClientSession::TakeText() {
    try {
        const std::optional<std::string> text = cutter_.Next();
        if (text) {
            account_->Spend(text->size(), !owner_.SessionReceived(*this, *text));
        }
        return text.has_value();
    } catch (const std::exception& error) {
        // Whatever a client's text does, it does to that client alone.
        Close(error.what());
        return true;
    }
}

bool ClientSession::ReadPiece() {
    std::array<char, 4096> bytes;
    std::size_t count = 0;
    const TlsStream::Result result = stream_.Read(bytes.data(), bytes.size(), count);
    if (result == TlsStream::Result::kDone) {
        cutter_.Add({bytes.data(), count});
        return true;
    }
    if (limits_.idle.count() > 0) {
        Watch(readTimer_, limits_.idle, "nothing came for too long");
    }
    After(result, &ClientSession::Read);
    return false;
}

// Others come first: what it sends stays in the kernel meanwhile.
void ClientSession::Rest(milliseconds time) {
    paceTimer_.expires_after(time);
    paceTimer_.async_wait([self = shared_from_this()](const Error& error) {
        if (!error && self->isOpen_) {
            self->Read();
        }
    });
}

void ClientSession::Send(const std::string& text) {
    if (!isOpen_) {
        return;
    }
    if (pending_.size() + text.size() > kMostPending || !account_->AddPending(text.size())) {
        Close("it does not take what it is sent");
        return;
    }
    pending_ += text;
    if (!isWriting_) {
        // From the loop, so that answers which are due together go together.
        isWriting_ = true;
        Watch(writeTimer_, kLongestWait, "it does not take what it is sent");
        asio::post(socket_.get_executor(), [self = shared_from_this()] { self->Write(); });
    }
}

void ClientSession::Write() {
    bool hasWritten = false;
    while (isOpen_ && !pending_.empty()) {
        std::size_t count = 0;
        const TlsStream::Result result = stream_.Write(pending_, count);
        if (result != TlsStream::Result::kDone) {
            if (hasWritten) {
                Watch(writeTimer_, kLongestWait, "it does not take what it is sent");
            }
            After(result, &ClientSession::Write);
            return;
        }
        hasWritten = true;
        pending_.erase(0, count);
        account_->RemovePending(count);
    }
    isWriting_ = false;
    writeTimer_.expires_at(Timer::time_point::max());
    pending_.shrink_to_fit();
    if (ending_) {
        Close(*ending_);
    }
}

void ClientSession::DropPending() {
    if (account_ != nullptr) {
        account_->RemovePending(pending_.size());
    }
    pending_.clear();
}

void ClientSession::CloseWhenSent(const std::string& reason) {
    ending_ = reason;
    if (!isWriting_) {
        Close(reason);
    }
}

void ClientSession::CheckAgain(std::shared_ptr<const Certificates> certificates) {
    turns_.handshakes.Ask([self = shared_from_this(), current = std::move(certificates)] {
        if (self->isOpen_ && !self->IsAcceptedBy(*current)) {
            self->Close("its certificate is not accepted any more");
        }
    });
}

void ClientSession::Close(const std::string& reason) {
    if (!std::exchange(isOpen_, false)) {
        return;
    }
    stream_.SayGoodbye();
    DropPending();
    Error ignored;
    socket_.cancel(ignored);
    socket_.shutdown(Socket::shutdown_both, ignored);
    for (Timer* const timer : {&readTimer_, &writeTimer_, &paceTimer_}) {
        timer->cancel();
    }
    asio::post(socket_.get_executor(),
               [self = shared_from_this(), reason] { self->owner_.SessionEnded(*self, reason); });
}

}  // namespace MuxProxy
