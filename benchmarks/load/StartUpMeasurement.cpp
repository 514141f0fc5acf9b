#include "benchmarks/load/StartUpMeasurement.h"

#include <optional>
#include <stdexcept>
#include <thread>

#include "benchmarks/load/Clock.h"
#include "tests/support/Process.h"

namespace Load {
namespace {

using asio::ip::tcp;

constexpr std::chrono::microseconds kPauseBetweenTries{50};
constexpr std::chrono::seconds kStartDeadline{10};

// Closed with a reset, the connection leaves nothing that would hold the port against the next program.
void CloseAtOnce(tcp::socket& socket) {
    socket.set_option(asio::socket_base::linger(true, 0));
    socket.close();
}

std::chrono::nanoseconds TimeOneStart(asio::io_context& loop, const Target& target,
                                      const std::vector<std::string>& command) {
    Testing::ProcessSetup setup;
    setup.console = Testing::Console::kNothing;
    const Clock::time_point start = Clock::now();
    const Testing::Process program(command, setup);
    while (Clock::now() - start < kStartDeadline) {
        if (std::optional<tcp::socket> socket = TryConnect(loop, target)) {
            const Clock::time_point connected = Clock::now();
            CloseAtOnce(*socket);
            return connected - start;
        }
        std::this_thread::sleep_for(kPauseBetweenTries);
    }
    throw std::runtime_error("the program does not listen: " + command.front());
}

}  // namespace

Samples StartUpMeasurement::Run() const {
    asio::io_context loop;
    if (TryConnect(loop, target_).has_value()) {
        throw std::runtime_error("port " + std::to_string(target_.port) + " is already in use");
    }
    Samples samples;
    for (std::size_t count = 0; count < options_.repetitions; ++count) {
        samples.Add(TimeOneStart(loop, target_, options_.command));
    }
    return samples;
}

}  // namespace Load
