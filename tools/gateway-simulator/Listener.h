#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Simulator {

// Listens on one port, and can refuse connections for a while without losing it.
//
// Lives on the loop's thread alone.
class Listener {
  public:
    using Accepted = std::function<void(asio::ip::tcp::socket socket)>;

    Listener(asio::io_context& loop, Accepted accepted);

    // Takes an address or a host name, whose addresses all have a listener, and a port, 0 for any free one. Throws
    // std::system_error when the name is unknown or the port cannot be opened.
    void Open(const std::string& host, std::uint16_t port);
    // Stops listening; also ends a refusal.
    void Close();

    // The port in use, also while connections are refused; 0 before the first Open().
    std::uint16_t Port() const { return endpoints_.empty() ? std::uint16_t{0} : endpoints_.front().port(); }

    // The system refuses connections until `duration` has passed; existing ones are not affected. 0 accepts again at
    // once. No effect when closed.
    void RefuseFor(std::chrono::milliseconds duration);

  private:
    using Acceptor = asio::ip::tcp::acceptor;

    using Acceptors = std::vector<std::shared_ptr<Acceptor>>;

    Acceptors MakeAcceptors();
    void Listen();
    void Accept(const std::shared_ptr<Acceptor>& acceptor);
    void OnAccepted(const std::shared_ptr<Acceptor>& acceptor, const asio::error_code& error,
                    asio::ip::tcp::socket socket);
    void StopListening();
    void ResumeAfter(std::chrono::milliseconds duration);
    void Resume();

    asio::io_context& loop_;
    Accepted accepted_;
    // Empty while connections are refused.
    Acceptors acceptors_;
    asio::steady_timer timer_;
    std::vector<asio::ip::tcp::endpoint> endpoints_;
    bool open_ = false;
};

}  // namespace Simulator
