#include "benchmarks/load/AnsweringGateway.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "tools/gateway-simulator/FrameCodec.h"

namespace Load {
namespace {

using asio::ip::tcp;
using Simulator::Bytes;

Simulator::Frame FrameOf(const Simulator::FrameCutter::Chunk& chunk) {
    const Simulator::DecodedFrame decoded = Simulator::DecodeFrame(chunk.bytes);
    if (decoded.verdict != Simulator::Verdict::kGood) {
        throw std::runtime_error(std::string("a gateway received a bad frame: ") + VerdictText(decoded.verdict));
    }
    return decoded.frame;
}

}  // namespace

AnsweringGateway::AnsweringGateway(asio::io_context& loop)
    : acceptor_(loop, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
    Accept();
}

Clock::time_point AnsweringGateway::RaiseCard(std::uint32_t number) {
    if (!connection_.has_value()) {
        throw std::logic_error("nobody is connected to the gateway");
    }
    const Bytes event = model_.CardEvent(number);
    const Clock::time_point raised = Clock::now();
    Send(event);
    return raised;
}

void AnsweringGateway::Accept() {
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
        if (error) {
            throw std::system_error(error, "a gateway's port");
        }
        socket.set_option(tcp::no_delay(true));
        connection_.emplace(std::move(socket));
        cutter_ = Simulator::FrameCutter();
        Read();
        Accept();
    });
}

// A connection that ends is not replaced here: whoever used it connects again.
void AnsweringGateway::Read() {
    connection_->async_read_some(asio::buffer(input_), [this](const asio::error_code& error, std::size_t count) {
        if (error) {
            return;
        }
        cutter_.Append(Bytes(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count)));
        Answer();
        Read();
    });
}

void AnsweringGateway::Answer() {
    const Clock::time_point arrival = Clock::now();
    while (const auto chunk = cutter_.Next()) {
        Send(model_.AnswerTo(FrameOf(*chunk)));
        if (frameReceived_) {
            frameReceived_(arrival);
        }
    }
}

void AnsweringGateway::Send(const Bytes& bytes) {
    asio::write(*connection_, asio::buffer(bytes));
    lastSent_ = Clock::now();
}

}  // namespace Load
