#include "benchmarks/load/Connection.h"

#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "benchmarks/load/Clock.h"

namespace Load {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kDeadline{10};
constexpr std::chrono::milliseconds kConnectPause{5};

}  // namespace

std::optional<tcp::socket> TryConnect(asio::io_context& loop, const Target& target) {
    const tcp::endpoint endpoint(asio::ip::make_address(target.host), target.port);
    tcp::socket socket(loop, endpoint.protocol());
    asio::error_code error;
    socket.connect(endpoint, error);
    if (error == asio::error::connection_refused) {
        return std::nullopt;
    }
    if (error) {
        throw std::system_error(error);
    }
    // When nobody listens, the kernel may give the connecting end the very port that it connects to.
    if (socket.local_endpoint() == endpoint) {
        return std::nullopt;
    }
    socket.set_option(tcp::no_delay(true));
    return socket;
}

tcp::socket Connect(asio::io_context& loop, const Target& target) {
    const Clock::time_point end = Clock::now() + kDeadline;
    while (Clock::now() < end) {
        if (std::optional<tcp::socket> socket = TryConnect(loop, target)) {
            return std::move(*socket);
        }
        std::this_thread::sleep_for(kConnectPause);
    }
    throw std::runtime_error("nobody listens on " + target.host + ":" + std::to_string(target.port));
}

}  // namespace Load
