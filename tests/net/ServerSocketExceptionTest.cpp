// What is thrown in a loop of the server socket, as when memory runs out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "diagnostics/Log.h"
#include "tests/mux/LogHook.h"
#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using Testing::LogHook;
using Testing::LoopbackSocket;
using Clock = std::chrono::steady_clock;

constexpr const char* kInAcceptLoop = "Exception in the accept loop: ";
constexpr const char* kInReceiveLoop = "Exception in the receive data loop: ";

class HookEnvironment : public testing::Environment {
  public:
    void SetUp() override { LogHook::Install(); }
};

[[maybe_unused]] const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new HookEnvironment);

class ServerSocketExceptionTest : public Testing::TestServer {
  protected:
    // Fails unless a client can connect and its packets are received.
    void ExpectService() {
        LoopbackSocket client = ConnectClient();
        const int received = Count("received");
        client.Send(PacketWith("{}"));
        EXPECT_TRUE(WaitForEvents("received", received + 1));
    }
};

TEST_F(ServerSocketExceptionTest, InTheAcceptLoopIsLoggedAndTheLoopGoesOnAfterASecondUnlessTheServerEnds) {
    const auto begin = Clock::now();
    {
        FailingCalls failing(SocketCall::kAccept, 0, 2, CallsFrom::kOtherThreads);
        failing.Doing([] { throw std::bad_alloc(); });
        StartAll();
        ASSERT_TRUE(Testing::WaitUntil([&] { return failing.Left() == 0; }));
    }
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(950)) << "a failure that lasts would make it spin";
    ExpectService();
    EXPECT_EQ(log_.Count(plog::error, std::string(kInAcceptLoop) + "std::bad_alloc"), 2) << log_.Text();

    FailingCalls lasting(SocketCall::kAccept, 0, 1000000, CallsFrom::kOtherThreads);
    lasting.Doing([] { throw std::runtime_error("no luck"); });
    LoopbackSocket::ConnectedTo(port_.Number());
    ASSERT_TRUE(log_.WaitFor(plog::error, std::string(kInAcceptLoop) + "no luck"));
    const auto end = Clock::now();
    server_.reset();
    EXPECT_LT(Clock::now() - end, std::chrono::milliseconds(900));
}

TEST_F(ServerSocketExceptionTest, BeforeAnAcceptedClientExistsClosesItsConnection) {
    StartAll();
    {
        const LogHook fault("Accepted connection with FD ", [] { throw std::runtime_error("no luck"); });
        LoopbackSocket unlucky = LoopbackSocket::ConnectedTo(port_.Number());
        EXPECT_TRUE(unlucky.WaitForEnd());
    }
    EXPECT_TRUE(log_.WaitFor(plog::error, std::string(kInAcceptLoop) + "no luck"));
    EXPECT_EQ(Count("accepted"), 0);
    ExpectService();
}

TEST_F(ServerSocketExceptionTest, InTheReceiveLoopIsLoggedAndTheLoopGoesOnAfterASecond) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const SeenCalls seen(CallsFrom::kOtherThreads);
    FailingCalls failing(SocketCall::kPoll, 0, 1, CallsFrom::kOtherThreads);
    failing.Doing([] { throw std::bad_alloc(); });
    const auto begin = Clock::now();
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(4), ElementsAre("lock until 5 s", "poll 1000 ms", "lock until 5 s", "poll 1000 ms"));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(950)) << "a failure that lasts would make it spin";
    EXPECT_EQ(log_.Count(plog::error, std::string(kInReceiveLoop) + "std::bad_alloc"), 1) << log_.Text();
    ExpectService();
}

TEST_F(ServerSocketExceptionTest, ThatTheOwnerThrowsAtAPacketLeavesTheClientConnected) {
    server_->SetDataReceivedCallback([](int, Bytes* packet, void*) {
        const std::unique_ptr<Bytes> owned(packet);
        throw std::runtime_error(std::string(owned->begin() + 6, owned->end()));
    });
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("first"));
    EXPECT_TRUE(log_.WaitFor(plog::error, std::string(kInReceiveLoop) + "first"));
    client.Send(PacketWith("second"));
    EXPECT_TRUE(log_.WaitFor(plog::error, std::string(kInReceiveLoop) + "second"));
    EXPECT_THAT(server_->ConnectedDescriptors(), ElementsAre(NewestDescriptor()));
    server_.reset();
}

// The others wait neither for it nor for a pause.
TEST_F(ServerSocketExceptionTest, ForWantOfMemoryForAPacketClosesItsClientAlone) {
    server_->SetDataReceivedCallback([](int descriptor, Bytes* packet, void*) {
        const std::unique_ptr<Bytes> owned(packet);
        if (owned->size() > 8) {
            throw std::bad_alloc();
        }
        MUX_LOG(plog::info) << "served " << descriptor;
    });
    StartAll();
    LoopbackSocket other = ConnectClient();
    const std::string served = "served " + std::to_string(NewestDescriptor());
    LoopbackSocket unlucky = ConnectClient();
    const std::string closed =
        "There is no memory for what was received on socket " + std::to_string(NewestDescriptor()) + ". It is closed.";
    unlucky.Send(PacketWith("a long one"));
    EXPECT_TRUE(unlucky.WaitForEnd());
    EXPECT_TRUE(log_.WaitFor(plog::warning, closed));
    const auto begin = Clock::now();
    other.Send(PacketWith("{}"));
    EXPECT_TRUE(log_.WaitFor(plog::info, served));
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(900));
    EXPECT_EQ(server_->ConnectedDescriptors().size(), 1U);
    EXPECT_EQ(Count("deleted"), 1);
    EXPECT_FALSE(log_.Holds(plog::error, kInReceiveLoop)) << log_.Text();
    server_.reset();
}

// The unwinding of a thread that ends itself, or is cancelled, is no exception.
TEST_F(ServerSocketExceptionTest, IsNotWhatUnwindsAThreadThatEnds) {
    server_->SetClientAcceptedCallback([](int, void*) { pthread_exit(nullptr); });
    server_->SetDataReceivedCallback([](int, Bytes* packet, void*) {
        const std::unique_ptr<Bytes> owned(packet);
        pthread_exit(nullptr);
    });
    StartAll();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    client.Send(PacketWith("{}"));
    ASSERT_TRUE(log_.WaitFor(plog::info, "Accepted connection with FD "));
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Invoking DataReceivedCallback if not null."));
    server_.reset();
    EXPECT_FALSE(log_.Holds(plog::error, "Exception")) << log_.Text();
}

}  // namespace
}  // namespace Brenk::Net
