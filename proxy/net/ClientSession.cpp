#include "proxy/net/ClientSession.h"

#include <array>
#include <boost/asio/post.hpp>
#include <utility>

#include "tools/client/Errors.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;
using std::chrono::milliseconds;

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

ClientSession::ClientSession(Socket socket, const Certificates& certificates, const LimitSettings& limits,
                             SessionTurns& turns, SessionOwner& owner)
    : socket_(std::move(socket)),
      stream_(certificates.NewConnection(), socket_.native_handle()),
      limits_(limits),
      turns_(turns),
      owner_(owner),
      readTimer_(socket_.get_executor()),
      writeTimer_(socket_.get_executor()),
      paceTimer_(socket_.get_executor()),
      address_(AddressOf(socket_)),
      refilled_(std::chrono::steady_clock::now()) {}

void ClientSession::Start() {
    Error ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    socket_.set_option(asio::socket_base::keep_alive(true), ignored);
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
    readTimer_.cancel();
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
    timer.async_wait([self = shared_from_this(), reason](const Error& error) {
        if (!error) {
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
        Refill();
        if (share_ == 0) {
            Rest();
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
            Spend(owner_.SessionReceived(*this, *text) ? 1 : kShareOfRefused);
        }
        return text.has_value();
    } catch (const MuxClient::ProtocolError& error) {
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
void ClientSession::Rest() {
    paceTimer_.expires_after(milliseconds(1000 / kRequestsPerSecond));
    paceTimer_.async_wait([self = shared_from_this()](const Error& error) {
        if (!error && self->isOpen_) {
            self->Read();
        }
    });
}

void ClientSession::Refill() {
    const auto now = std::chrono::steady_clock::now();
    const auto earned = (now - refilled_) / milliseconds(1000 / kRequestsPerSecond);
    if (earned > 0) {
        share_ = static_cast<unsigned>(std::min<std::int64_t>(kRequestsPerSecond, share_ + earned));
        refilled_ = now;
    }
}

void ClientSession::Send(const std::string& text) {
    if (!isOpen_) {
        return;
    }
    pending_ += text;
    if (pending_.size() > kMostPending) {
        Close("it does not take what it is sent");
    } else if (!isWriting_) {
        // From the loop, so that answers which are due together go together.
        isWriting_ = true;
        Watch(writeTimer_, kLongestWait, "it does not take what it is sent");
        asio::post(socket_.get_executor(), [self = shared_from_this()] { self->Write(); });
    }
}

void ClientSession::Write() {
    while (isOpen_ && !pending_.empty()) {
        std::size_t count = 0;
        const TlsStream::Result result = stream_.Write(pending_, count);
        if (result != TlsStream::Result::kDone) {
            After(result, &ClientSession::Write);
            return;
        }
        pending_.erase(0, count);
    }
    isWriting_ = false;
    writeTimer_.cancel();
    pending_.shrink_to_fit();
}

void ClientSession::Close(const std::string& reason) {
    if (!std::exchange(isOpen_, false)) {
        return;
    }
    stream_.SayGoodbye();
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
