#include "proxy/dispatch/Insiders.h"

#include <boost/asio/post.hpp>

namespace MuxProxy {

ConnectionNumber Insiders::Ask(ClientIdentity client, std::string_view text, Answered answered) {
    client.wantsEvents = false;
    const ConnectionNumber connection = dispatcher_.Connected(std::move(client));
    asking_.emplace(connection, std::move(answered));
    dispatcher_.Received(connection, text);
    called_();
    return connection;
}

void Insiders::Leave(ConnectionNumber connection) {
    if (asking_.erase(connection) != 0) {
        dispatcher_.Disconnected(connection);
        called_();
    }
}

// The dispatcher must not be called back from here.
void Insiders::Take(ConnectionNumber connection, const std::string& text) {
    const auto asking = asking_.find(connection);
    if (asking == asking_.end()) {
        return;
    }
    boost::asio::post(loop_, [this, connection, text, answered = std::move(asking->second)] {
        dispatcher_.Disconnected(connection);
        called_();
        answered(text);
    });
    asking_.erase(asking);
}

}  // namespace MuxProxy
