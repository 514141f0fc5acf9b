#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <string>

#include "proxy/configuration/MuxLocks.h"
#include "proxy/dispatch/Insiders.h"
#include "proxy/status/StatusRound.h"

namespace MuxProxy {

// Asks the locks of the site for their status, one after the other, each when no client's request to its gateway waits.
// For the network loop.
class StatusAsker {
  public:
    // The others outlive it.
    StatusAsker(boost::asio::io_context& loop, Dispatcher& dispatcher, Insiders& insiders, const MuxLocks& locks,
                std::chrono::seconds period);

    // For good.
    void Stop();

  private:
    void Plan();
    void AskNext();
    void Take(const std::string& answer);

    boost::asio::steady_timer timer_;
    Dispatcher& dispatcher_;
    Insiders& insiders_;
    StatusRound round_;
};

}  // namespace MuxProxy
