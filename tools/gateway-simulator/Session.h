#pragma once

#include <array>
#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/FrameCutter.h"

namespace Simulator {

// One accepted connection: cuts what arrives, writes what is to go out, ends in the way that is asked for. A peer that
// does not take what it is sent is not read from either, until it has taken some of it.
//
// Lives on the loop's thread alone. Pending operations keep it alive, so that it may be let go at any time; its
// handlers are not called after `ended`, which comes exactly once.
class Session : public std::enable_shared_from_this<Session> {
  public:
    struct Handlers {
        std::function<void(Session& session, const FrameCutter::Chunk& chunk)> received;
        std::function<void(Session& session, const std::string& reason)> ended;
    };

    // Takes a connected socket and the connection's number.
    Session(asio::ip::tcp::socket socket, std::size_t number, Handlers handlers);

    // Begins to read.
    void Start();

    std::size_t Number() const { return number_; }
    // ADDRESS:PORT of the other end.
    const std::string& Peer() const { return peer_; }

    // Writes after everything sent before, together with held data. `pause` is the time between this write and the next
    // waiting one. No effect once ended.
    void Send(const Bytes& bytes, std::chrono::milliseconds pause = std::chrono::milliseconds(0));
    // Keeps bytes to go in front of the next Send().
    void Hold(const Bytes& bytes);

    // Ends in order when everything sent before is written.
    void CloseWhenSent();
    // Ends in order: the peer reads to the end of the stream and no reset overtakes it.
    void Close();
    // Ends with a reset.
    void Reset();

  private:
    // Broken: the peer has reset the connection, of which no write that is begun afterwards would learn.
    enum class Output { kIdle, kWriting, kBroken };

    struct Write {
        Bytes bytes;
        std::chrono::milliseconds pause;
    };

    // How many writes may wait before the session stops reading.
    static constexpr std::size_t kMostWaitingWrites = 4096;

    void Read();
    void ReadOn();
    void OnRead(const asio::error_code& error, std::size_t count);
    void Deliver(std::size_t count);
    void WriteNext();
    void OnWritten(const asio::error_code& error);
    void Pause(std::chrono::milliseconds pause);
    void End(const std::string& reason);
    void Linger();
    void CloseSocket();

    asio::ip::tcp::socket socket_;
    asio::steady_timer pauseTimer_;
    asio::steady_timer lingerTimer_;
    std::size_t number_;
    std::string peer_;
    Handlers handlers_;
    FrameCutter cutter_;
    std::array<std::uint8_t, 4096> input_ = {};
    std::deque<Write> writes_;
    Bytes held_;
    bool reading_ = false;
    Output output_ = Output::kIdle;
    bool closeWhenSent_ = false;
    bool ended_ = false;
};

}  // namespace Simulator
