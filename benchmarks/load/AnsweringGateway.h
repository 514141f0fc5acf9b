#pragma once

#include <array>
#include <asio.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "benchmarks/load/AtOnceModel.h"
#include "benchmarks/load/Clock.h"
#include "tools/gateway-simulator/FrameCutter.h"

namespace Load {

// A gateway on its own port that answers every frame at once.
//
// Lives on the loop's thread; the loop must have stopped when the gateway is destroyed. It serves the connection
// accepted last. Bytes that are not a frame throw std::runtime_error out of the loop.
class AnsweringGateway {
  public:
    using FrameReceived = std::function<void(Clock::time_point arrival)>;

    // Listens on 127.0.0.1. Throws std::system_error when it cannot.
    explicit AnsweringGateway(asio::io_context& loop);
    AnsweringGateway(const AnsweringGateway&) = delete;
    AnsweringGateway& operator=(const AnsweringGateway&) = delete;

    std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }

    // Called for each frame once it is answered.
    void OnFrame(FrameReceived frameReceived) { frameReceived_ = std::move(frameReceived); }

    // Whether the server is connected and has received the sequence counter.
    bool IsInUse() const { return model_.GaveCounter(); }
    // When it sent the last time; the clock's beginning when it never did.
    Clock::time_point LastSent() const { return lastSent_; }

    // Sends a card event with this number. Returns the time just before. Throws std::logic_error without a connection.
    Clock::time_point RaiseCard(std::uint32_t number);

  private:
    void Accept();
    void Read();
    void Answer();
    void Send(const Simulator::Bytes& bytes);

    asio::ip::tcp::acceptor acceptor_;
    std::optional<asio::ip::tcp::socket> connection_;
    std::array<std::uint8_t, 4096> input_ = {};
    Simulator::FrameCutter cutter_;
    AtOnceModel model_;
    FrameReceived frameReceived_;
    Clock::time_point lastSent_;
};

}  // namespace Load
