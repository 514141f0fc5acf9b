#include "proxy/net/ClientSession.h"

#include <array>
#include <optional>
#include <utility>

namespace MuxProxy {
namespace {

using Error = boost::system::error_code;
using std::chrono::milliseconds;

// A piece of the stream, the request in it, and that there is nothing more.
constexpr unsigned kStepsAtOnce = 3;
constexpr unsigned kStepsInATurn = 16;

}  // namespace

ClientSession::ClientSession(Socket socket, std::shared_ptr<const Certificates> certificates,
                             const LimitSettings& limits, SessionTurns& turns, SessionOwner& owner)
    : TlsSession(std::move(socket), std::move(certificates), turns),
      idle_(limits.idle),
      owner_(owner),
      paceTimer_(Executor()) {}

ClientSession::~ClientSession() {
    ClientSession::NoLongerPending(PendingBytes());
}

void ClientSession::Shaken() {
    name_ = PeerName(Connection());
    if (name_.empty()) {
        Close("its certificate has no usable common name");
    } else {
        owner_.SessionOpened(*this);
    }
}

void ClientSession::Ended(const std::string& reason) {
    paceTimer_.cancel();
    owner_.SessionEnded(*this, reason);
}

void ClientSession::Read() {
    ReadSome(kStepsAtOnce);
}

void ClientSession::AskToReadOn() {
    SharedTurns().readings.Ask([this, self = shared_from_this()] { ReadSome(kStepsInATurn); });
}

void ClientSession::ReadSome(unsigned steps) {
    for (; IsOpen() && steps > 0; --steps) {
        if (const milliseconds rest = account_->Rest(); rest.count() > 0) {
            Rest(rest);
            return;
        }
        if (!TakeText() && !ReadPiece()) {
            return;
        }
    }
    if (IsOpen()) {
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
    const std::size_t count = ReadBytes(bytes.data(), bytes.size());
    if (count > 0) {
        cutter_.Add({bytes.data(), count});
    } else if (idle_.count() > 0 && IsOpen()) {
        WatchReading(idle_, "nothing came for too long");
    }
    return count > 0;
}

// Others come first: what it sends stays in the kernel meanwhile.
void ClientSession::Rest(milliseconds time) {
    paceTimer_.expires_after(time);
    paceTimer_.async_wait([this, self = shared_from_this()](const Error& error) {
        if (!error && IsOpen()) {
            Read();
        }
    });
}

void ClientSession::Send(const std::string& text) {
    if (!IsOpen()) {
        return;
    }
    if (PendingBytes() + text.size() > kMostPending || !account_->AddPending(text.size())) {
        Close("it does not take what it is sent");
        return;
    }
    Append(text);
}

void ClientSession::NoLongerPending(std::size_t count) {
    if (account_ != nullptr) {
        account_->RemovePending(count);
    }
}

}  // namespace MuxProxy
