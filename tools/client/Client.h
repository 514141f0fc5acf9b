#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/client/Errors.h"
#include "tools/client/Message.h"
#include "tools/client/Request.h"

namespace MuxClient {

// How to reach a Mux behind mux-proxy: TLS 1.2 or later. Files are in PEM; keys have no password.
struct TlsSettings {
    // Certificates of the authorities that the server's certificate is verified with; empty for those of the system.
    std::string authority = {};
    // This client's certificate, and its key; empty for none. The key may be in the file of the certificate.
    std::string certificate = {};
    std::string key = {};
    // The name or address that the server's certificate is for; empty for the host to connect to.
    std::string serverName = {};
};

// Where the Mux, or the proxy before it, listens.
struct MuxAddress {
    // A name or an address.
    std::string host = "127.0.0.1";
    std::uint16_t port = 5555;
    std::optional<TlsSettings> tls = std::nullopt;
};

// How long to wait for a connection, and for an answer. Longer than the Mux takes at its slowest: it may look at a new
// client only after a second, and a gateway's answer that comes together with a card can be eleven seconds late.
constexpr std::chrono::milliseconds kDefaultTimeout{15000};
// The same with TLS: before a proxy sends a request and waits so long, the request may wait for 5 s.
constexpr std::chrono::milliseconds kDefaultTlsTimeout{21000};

// The one for this address. Any thread.
inline std::chrono::milliseconds DefaultTimeout(const MuxAddress& address) {
    return address.tls ? kDefaultTlsTimeout : kDefaultTimeout;
}

// A time-out; without one that of DefaultTimeout() for the client's address.
using Timeout = std::optional<std::chrono::milliseconds>;

// A connection to the Mux: sends requests, finds the answer to each by its identifier, and hands out the events that
// the Mux sends to all its clients.
//
//     MuxClient::Client client({"127.0.0.1", 5555});
//     client.OnEvent([](const MuxClient::Message& event) { ... });
//     const auto answer = client.Ask(MuxClient::Request::Open({1, 5}));
//     if (answer && answer->IsAck()) { ... }
//
// Each gateway gets one request at a time, because only the first of those that arrive within 300 ms is sure of an
// answer: a request is held back until the one before it is answered or its time is over. Other clients of the Mux are
// not considered. Nothing is sent twice, and an answer that comes too late is dropped.
//
// For one thread at a time; there is none inside. Handlers run on the thread that is in Ask() or Wait(), and may call
// Send() and OnEvent() but not Ask() or Wait(). What a handler throws comes out of the call in which it ran.
class Client {
  public:
    using EventHandler = std::function<void(const Message& event)>;
    // Gets nothing when the time was over first. Must not be empty.
    using AnswerHandler = std::function<void(const std::optional<Message>& answer)>;

    // Connects. Throws ConnectionError when that fails or takes longer than the time-out; only the look-up of a name
    // may take longer. Throws CertificateError if a file of the TLS settings cannot be used, or one side refuses the
    // other's certificate; a server may refuse this client's only in a later call.
    explicit Client(const MuxAddress& address, Timeout timeout = std::nullopt);
    // Closes the connection. Handlers that still wait are not called.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Sets who gets the events; without it they are dropped.
    void OnEvent(EventHandler handler);

    // Sends a request, in its turn, and calls the handler, from within Wait() or Ask(), with its answer or when the
    // time since sending is over. Throws std::length_error when the text does not fit a packet, and
    // std::invalid_argument when a request with that identifier waits already.
    void Send(const Request& request, AnswerHandler handler, Timeout timeout = std::nullopt);

    // Sends a request at once, for which no answer is expected; one that comes is dropped. Returns when the system has
    // the bytes. Throws std::length_error as above, and ConnectionError when the system does not take them in time.
    void SendOnly(const Request& request, Timeout timeout = std::nullopt);

    // Waits until a handler was called, for at most this time; returns whether one was. With a time of zero it delivers
    // what has already arrived, for programs with their own loop. Throws ConnectionError if the Mux has closed the
    // connection and ProtocolError if the peer is not a Mux; the client is then unusable. Earlier messages are
    // delivered first.
    bool Wait(std::chrono::milliseconds duration);

    // Sends a request, in its turn, and waits for its answer; empty after the time-out, though the request may still
    // have been executed. Throws as Send() and Wait() do.
    std::optional<Message> Ask(const Request& request, Timeout timeout = std::nullopt);

    // The same with a progress callback: calls `whileWaiting` at once and at least every `period` until there is an
    // answer. Its exceptions propagate. It must not be empty.
    std::optional<Message> Ask(const Request& request, Timeout timeout, std::chrono::milliseconds period,
                               const std::function<void()>& whileWaiting);

  private:
    class Connection;

    std::chrono::milliseconds defaultTimeout_;
    std::unique_ptr<Connection> connection_;
};

}  // namespace MuxClient
