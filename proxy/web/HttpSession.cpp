#include "proxy/web/HttpSession.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/write.hpp>
#include <sstream>
#include <utility>

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;
using Error = boost::system::error_code;

constexpr unsigned kStepsAtOnce = 3;
// Browsers wait for an answer before they ask again.
constexpr std::size_t kMostAhead = 16384;

http::status StatusOf(const Error& error) {
    return error == http::error::header_limit ? http::status::request_header_fields_too_large
           : error == http::error::body_limit ? http::status::payload_too_large
                                              : http::status::bad_request;
}

std::string HeaderText(const HttpResponse& response) {
    std::ostringstream text;
    text << response.base();
    return text.str();
}

}  // namespace

HttpSession::HttpSession(Socket socket, std::shared_ptr<const Certificates> certificates, SessionTurns& turns,
                         HttpOwner& owner)
    : TlsSession(std::move(socket), std::move(certificates), turns), owner_(owner) {}

HttpSession::~HttpSession() = default;

void HttpSession::Shaken() {
    name_ = PeerName(Connection());
    fingerprint_ = PeerFingerprint(Connection());
    owner_.HttpOpened(*this);
    BeginRequest();
}

void HttpSession::BeginRequest() {
    state_ = State::kReceiving;
    hasBegun_ = false;
    parser_.emplace();
    parser_->header_limit(kLongestHeader);
    parser_->body_limit(kLongestBody);
    parser_->eager(true);
    if (IsOpen()) {
        WatchReading(isKnown_ ? kLongestIdle : kLongestIdleOfStrangers, "nothing came for too long");
    }
}

void HttpSession::Read() {
    ReadSome(kStepsAtOnce);
}

// Read on while a request is answered, to notice that the browser has gone.
void HttpSession::ReadSome(unsigned steps) {
    for (; IsOpen() && steps > 0; --steps) {
        std::array<char, 4096> bytes;
        const std::size_t count = ReadBytes(bytes.data(), bytes.size());
        if (count == 0) {
            return;
        }
        received_.append(bytes.data(), count);
        if (received_.size() > kMostAhead) {
            Close("it sends more than is read");
        } else if (state_ == State::kReceiving) {
            Parse();
        }
    }
    if (IsOpen()) {
        SharedTurns().readings.Ask([this, self = shared_from_this()] { ReadSome(kStepsAtOnce); });
    }
}

void HttpSession::Parse() {
    if (received_.empty()) {
        return;
    }
    if (!std::exchange(hasBegun_, true)) {
        WatchReading(kLongestRequest, "its request took too long");
    }
    Error error;
    received_.erase(0, parser_->put(boost::asio::buffer(received_), error));
    if (error && error != http::error::need_more) {
        Fail(error);
    } else if (parser_->is_done()) {
        StopWatchingReading();
        state_ = State::kAnswering;
        owner_.HttpReceived(*this, parser_->release());
    }
}

void HttpSession::Fail(const Error& error) {
    state_ = State::kAnswering;
    HttpResponse response = owner_.HttpFault(StatusOf(error));
    response.keep_alive(false);
    Answer(std::move(response));
}

void HttpSession::Answer(HttpResponse response) {
    gone_ = nullptr;
    if (!IsOpen()) {
        return;
    }
    const bool isLast = !response.keep_alive();
    if (response.body().size() > kLongBody && !owner_.HasRoom()) {
        response = owner_.HttpFault(http::status::service_unavailable);
        response.keep_alive(!isLast);
    }
    response.prepare_payload();
    state_ = State::kSending;
    Append(HeaderText(response));
    Append(response.body());
    if (isLast || isFinishing_) {
        CloseWhenSent("");
    }
}

void HttpSession::AllSent() {
    if (state_ != State::kSending) {
        return;
    }
    BeginRequest();
    SharedTurns().readings.Ask([this, self = shared_from_this()] {
        if (IsOpen() && state_ == State::kReceiving) {
            Parse();
        }
    });
}

void HttpSession::Finish() {
    isFinishing_ = true;
    if (state_ != State::kAnswering) {
        CloseWhenSent("");
    }
}

void HttpSession::BeginStream(const HttpResponse& header) {
    if (IsOpen()) {
        state_ = State::kStreaming;
        Append(HeaderText(header));
    }
}

void HttpSession::Stream(std::string_view text) {
    if (IsOpen() && !text.empty()) {
        Append(text);
    }
}

void HttpSession::Ended(const std::string& /*reason*/) {
    if (const auto gone = std::exchange(gone_, nullptr)) {
        gone();
    }
    owner_.HttpEnded(*this);
}

}  // namespace MuxProxy
