#pragma once

#include "tools/client/Asio.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "tools/client/Client.h"

namespace MuxClient {

// The bytes of one connection, bare or in TLS. Not for users of the library.
//
// For the thread that runs the loop, which calls the handlers. One Read() and one Write() at a time.
class Stream {
  public:
    using Endpoints = asio::ip::tcp::resolver::results_type;
    using ConnectHandler = std::function<void(const asio::error_code& error)>;
    using TransferHandler = std::function<void(const asio::error_code& error, std::size_t count)>;

    // Throws CertificateError if the files of the address's TLS settings cannot be used.
    Stream(asio::io_context& loop, const MuxAddress& address);
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Connects to one of the endpoints, with the handshake of TLS.
    void Connect(const Endpoints& endpoints, ConnectHandler handler);
    // What Connect() is at: "connection" or "TLS handshake".
    const char* Step() const { return step_; }
    // Reads some bytes.
    void Read(asio::mutable_buffer buffer, TransferHandler handler);
    // Writes all.
    void Write(asio::const_buffer buffer, TransferHandler handler);

    // Why Connect() failed, for people.
    std::string FaultText(const asio::error_code& error) const;
    // Whether the error is that one side refused the other's certificate: which and why, for people; otherwise empty.
    std::string Refusal(const asio::error_code& error) const;

    asio::ip::tcp::socket& Socket() { return socket_; }

  private:
    using TlsStream = asio::ssl::stream<asio::ip::tcp::socket&>;

    void PrepareTls();
    void ShakeHands(ConnectHandler handler);

    asio::ip::tcp::socket socket_;
    std::optional<TlsSettings> settings_;
    std::optional<asio::ssl::context> context_;
    std::optional<TlsStream> tls_;
    const char* step_ = "connection";
    // Why the server's certificate was refused.
    std::string refusal_;
};

}  // namespace MuxClient
