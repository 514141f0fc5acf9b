#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace MuxProxy {

// A port on several addresses, and who connects to it. For the network loop.
class Listeners {
  public:
    using Socket = boost::asio::ip::tcp::socket;

    // Opens the port; an address of IPv6 is open to IPv6 alone. Throws std::runtime_error with a sentence for people if
    // it cannot. The loop outlives it.
    Listeners(boost::asio::io_context& loop, const std::vector<std::string>& addresses, std::uint16_t port);

    // Lets them in from now on. Pauses while there are no descriptors for another connection.
    void Start(std::function<void(Socket)> taken);
    // For good.
    void Stop();

  private:
    using Tcp = boost::asio::ip::tcp;

    struct Listener {
        Tcp::acceptor acceptor;
        // Of its pause.
        boost::asio::steady_timer timer;
    };

    void Accept(Listener& listener);

    std::list<Listener> listeners_;
    std::function<void(Socket)> taken_;
    bool isStopped_ = false;
};

}  // namespace MuxProxy
