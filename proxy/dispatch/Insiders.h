#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "proxy/dispatch/Dispatcher.h"

namespace MuxProxy {

// Those who ask from inside the proxy: for clients of the broker, and by itself. What they ask goes the way of every
// request. For the network loop.
class Insiders {
  public:
    using Answered = std::function<void(const std::string& answer)>;

    // Both outlive it. `called` is called when the dispatcher was, which may have changed when it is due again.
    Insiders(boost::asio::io_context& loop, Dispatcher& dispatcher, std::function<void()> called)
        : loop_(loop), dispatcher_(dispatcher), called_(std::move(called)) {}

    // One request, as Dispatcher::Received() takes it. `answered` gets the text of its answer later, from the loop; not
    // when the loop ends before. Returns the number for Leave().
    ConnectionNumber Ask(ClientIdentity client, std::string_view text, Answered answered);

    // Who asked has gone: what was not sent is dropped, and nobody gets the answer. Ignored once it was answered.
    void Leave(ConnectionNumber connection);

    // Takes what the dispatcher sends, if the connection is one of these.
    void Take(ConnectionNumber connection, const std::string& text);

  private:
    boost::asio::io_context& loop_;
    Dispatcher& dispatcher_;
    const std::function<void()> called_;
    std::map<ConnectionNumber, Answered> asking_;
};

}  // namespace MuxProxy
