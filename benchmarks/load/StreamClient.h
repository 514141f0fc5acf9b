#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
#include <string>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/Connection.h"
#include "tools/client/TextCutter.h"

namespace Load {

// A client of the server: sends packets, reports each JSON text with the time of its arrival.
//
// Lives on the loop's thread; the loop must have stopped when the client is destroyed. A lost connection throws
// std::system_error out of the loop, an invalid answer MuxClient::ProtocolError.
class StreamClient {
  public:
    using Received = std::function<void(const std::string& text, Clock::time_point arrival)>;

    // Connects, as Connect() does, and begins to read.
    StreamClient(asio::io_context& loop, const Target& target, Received received);
    StreamClient(const StreamClient&) = delete;
    StreamClient& operator=(const StreamClient&) = delete;

    // Returns when the kernel has taken the packet.
    void Send(const std::string& packet);

  private:
    void Read();

    asio::ip::tcp::socket socket_;
    Received received_;
    MuxClient::TextCutter cutter_;
    std::array<char, 16384> input_ = {};
};

}  // namespace Load
