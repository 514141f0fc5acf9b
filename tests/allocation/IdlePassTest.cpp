// A pass that finds nothing to do leaves the heap alone. The loops make more than two thousand of them a second for
// months, and an allocation costs more than all the rest of such a pass.

#include <gtest/gtest.h>
#include <plog/Init.h>

#include <memory>
#include <string>
#include <vector>

#include "gateway/VirtualGateway.h"
#include "mux/BrenkMux.h"
#include "net/ServerSocket.h"
#include "tests/allocation/CountedCalls.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

namespace {

using Testing::LoopbackSocket;
using Testing::WaitUntil;

// Passes that may still allocate: buffers grow to the size that they keep.
constexpr std::size_t kWarmUp = 3;

// Waits for so many more of what is counted; false when they do not come.
template <typename Counter>
bool WaitForMore(Counter counter, std::size_t count) {
    const std::size_t end = counter() + count;
    return WaitUntil([&] { return counter() >= end; });
}

// What the other threads allocate while so many passes go by, after some to warm up.
template <typename Counter>
std::size_t AllocationsDuring(Counter passes, std::size_t count) {
    EXPECT_TRUE(WaitForMore(passes, kWarmUp));
    const std::size_t before = Testing::AllocationsOfOtherThreads();
    EXPECT_TRUE(WaitForMore(passes, count));
    return Testing::AllocationsOfOtherThreads() - before;
}

// Lines are filtered out, but only after the log has been asked.
class IdlePassTest : public testing::Test {
  protected:
    IdlePassTest() { plog::init(plog::none).setMaxSeverity(plog::none); }
};

TEST_F(IdlePassTest, AllocationsAreCountedOnTheirThread) {
    const std::size_t before = Testing::OwnAllocations();
    const auto text = std::make_unique<std::string>(100, 'x');
    EXPECT_EQ(Testing::OwnAllocations() - before, 2U);
    const std::size_t others = Testing::AllocationsOfOtherThreads();
    const auto more = std::make_unique<std::string>(100, 'x');
    EXPECT_EQ(Testing::AllocationsOfOtherThreads(), others);
}

class IdleServerSocketTest : public IdlePassTest {
  protected:
    IdleServerSocketTest() {
        EXPECT_TRUE(server_.InitSocket());
        server_.StartAcceptLoop();
        server_.StartReceiveLoop();
    }

    Testing::ReservedPort port_;
    Brenk::Net::ServerSocket server_{port_.Number()};
};

// One pass a second: there is no client to wait for.
TEST_F(IdleServerSocketTest, DoesNotAllocateWithoutAClient) {
    EXPECT_EQ(AllocationsDuring(Testing::TimedLocks, 2), 0U);
}

TEST_F(IdleServerSocketTest, DoesNotAllocateForClientsThatAreSilent) {
    std::vector<LoopbackSocket> clients(5);
    for (LoopbackSocket& client : clients) {
        client.ConnectTo(port_.Number());
    }
    ASSERT_TRUE(WaitUntil([this] { return server_.ConnectedClients().size() == 5; }));
    EXPECT_EQ(AllocationsDuring(Testing::SocketWaits, 100), 0U);
}

// Both threads of the gateway. The first thing that it sends is a request for the sequence counter; the next comes
// after 27 seconds.
TEST_F(IdlePassTest, AGatewayDoesNotAllocateWhileNothingIsSentOrReceived) {
    const LoopbackSocket listener = LoopbackSocket::Listening();
    Brenk::VirtualGateway gateway("127.0.0.1", static_cast<std::uint32_t>(listener.Port()));
    Brenk::GatewayOwner owner;
    owner.context = this;
    gateway.SetOwner(owner);
    ASSERT_TRUE(gateway.Connect(false));
    ASSERT_TRUE(WaitUntil([&] { return gateway.LastSendTime() != 0; }));
    const std::size_t waits = Testing::SocketWaits();
    EXPECT_EQ(AllocationsDuring(Testing::TimedLocks, 3), 0U);
    EXPECT_GE(Testing::SocketWaits() - waits, 3U) << "the read thread has passed too";
    gateway.Disconnect();
}

// What the main thread and the gateways thread do in each pass, here on the test's own thread.
TEST_F(IdlePassTest, TheMuxDoesNotAllocateWhileNothingIsQueued) {
    const LoopbackSocket listener = LoopbackSocket::Listening();
    Mux::BrenkMux mux;
    const std::string port = std::to_string(listener.Port());
    ASSERT_TRUE(mux.ParseConfiguration(
        R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"","IpAddress":"127.0.0.1","Port":)" + port +
        R"(,"Devices":[]}]})"));
    mux.ConnectVirtualGateways();
    ASSERT_EQ(mux.Gateways()->gateways.size(), 1U);
    ASSERT_EQ(mux.Gateways()->gateways.front()->Status(), Brenk::CONNECTED);

    const std::size_t before = Testing::OwnAllocations();
    for (int pass = 0; pass < 1000; ++pass) {
        mux.ConnectVirtualGateways();
        mux.PopNextMessage();
        mux.SendMessageToClientIfAvailable();
    }
    EXPECT_EQ(Testing::OwnAllocations() - before, 0U);
}

}  // namespace
