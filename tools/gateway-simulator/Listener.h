#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Simulator {

// Listens on one address and port, and can refuse connections for a while without losing its port.
//
// Lives on the loop's thread alone.
class Listener {
  public:
    using Accepted = std::function<void(asio::ip::tcp::socket socket)>;

    Listener(asio::io_context& loop, Accepted accepted);

    // Takes a numeric address and a port, 0 for any free one. Throws std::system_error when the address is none or
    // the port cannot be opened.
    void Open(const std::string& host, std::uint16_t port);
    // Stops listening; also ends a refusal.
    void Close();

    // The port in use, also while connections are refused; 0 before the first Open().
    std::uint16_t Port() const { return endpoint_.port(); }

    // The system refuses connections until `duration` has passed; existing ones are not affected. 0 accepts again at
    // once. No effect when closed.
    void RefuseFor(std::chrono::milliseconds duration);

  private:
    using Acceptor = asio::ip::tcp::acceptor;

    void Listen();
    void Accept();
    void OnAccepted(const asio::error_code& error, asio::ip::tcp::socket socket);
    void StopListening();
    void ResumeAfter(std::chrono::milliseconds duration);
    void Resume();

    asio::io_context& loop_;
    Accepted accepted_;
    // Null while connections are refused.
    std::shared_ptr<Acceptor> acceptor_;
    asio::steady_timer timer_;
    asio::ip::tcp::endpoint endpoint_;
    bool open_ = false;
};

}  // namespace Simulator
