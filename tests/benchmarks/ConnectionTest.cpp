#include "benchmarks/load/Connection.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"

namespace Load {
namespace {

Target TargetAt(int port) {
    return {"127.0.0.1", static_cast<std::uint16_t>(port)};
}

TEST(ConnectionTest, ConnectsASocketThatSendsAtOnce) {
    Testing::LoopbackSocket listener = Testing::LoopbackSocket::Listening();
    asio::io_context loop;
    const asio::ip::tcp::socket socket = Connect(loop, TargetAt(listener.Port()));
    asio::ip::tcp::no_delay noDelay;
    socket.get_option(noDelay);
    EXPECT_TRUE(noDelay.value());
    EXPECT_EQ(socket.remote_endpoint().port(), listener.Port());
}

TEST(ConnectionTest, NobodyListeningIsNoConnectionAndNoError) {
    const Testing::ReservedPort port;
    asio::io_context loop;
    EXPECT_FALSE(TryConnect(loop, TargetAt(port.Number())).has_value());
}

TEST(ConnectionTest, AHostThatIsNoAddressIsAnError) {
    asio::io_context loop;
    EXPECT_THROW(TryConnect(loop, {"no address", 1}), std::system_error);
}

}  // namespace
}  // namespace Load
