#include "benchmarks/load/StreamClient.h"

#include <cstddef>
#include <system_error>
#include <utility>

namespace Load {

StreamClient::StreamClient(asio::io_context& loop, const Target& target, Received received)
    : socket_(Connect(loop, target)), received_(std::move(received)) {
    Read();
}

void StreamClient::Send(const std::string& packet) {
    asio::write(socket_, asio::buffer(packet));
}

void StreamClient::Read() {
    socket_.async_read_some(asio::buffer(input_), [this](const asio::error_code& error, std::size_t count) {
        const Clock::time_point arrival = Clock::now();
        if (error) {
            throw std::system_error(error, "the server's connection");
        }
        cutter_.Add({input_.data(), count});
        while (const auto text = cutter_.Next()) {
            received_(*text, arrival);
        }
        Read();
    });
}

}  // namespace Load
