#pragma once

#include <boost/asio/io_context.hpp>
#include <deque>
#include <functional>

namespace MuxProxy {

// Steps that take long, or that one connection could ask for without end: one of them in each pass of the loop, first
// come, first served. Whoever is ready in between waits for one step, not for all that are due. For the network loop.
class Turns {
  public:
    // The loop outlives it.
    explicit Turns(boost::asio::io_context& loop) : loop_(loop) {}

    // `step` is called from the loop, later and once, and must not throw.
    void Ask(std::function<void()> step);

  private:
    void CallNextFromLoop();

    boost::asio::io_context& loop_;
    std::deque<std::function<void()>> steps_;
};

// What sessions take turns at. Handshakes have a queue of their own: strangers can ask for them.
struct SessionTurns {
    explicit SessionTurns(boost::asio::io_context& loop) : handshakes(loop), readings(loop) {}

    Turns handshakes;
    Turns readings;
};

}  // namespace MuxProxy
