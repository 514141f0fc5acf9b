#pragma once

#include <asio.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace Load {

// The server that is measured.
struct Target {
    std::string host = "127.0.0.1";
    std::uint16_t port = 5555;
};

// A connected socket with TCP_NODELAY; empty if the port is closed. Throws std::system_error on any other failure.
std::optional<asio::ip::tcp::socket> TryConnect(asio::io_context& loop, const Target& target);

// The same, tried again for 10 seconds, since the server may be starting. Throws std::runtime_error after them.
asio::ip::tcp::socket Connect(asio::io_context& loop, const Target& target);

}  // namespace Load
