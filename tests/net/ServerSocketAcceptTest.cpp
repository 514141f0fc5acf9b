#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using Testing::CallsFrom;
using Testing::FailingCalls;
using Testing::LoopbackSocket;
using Testing::SeenCalls;
using Testing::SocketCall;

using ServerSocketAcceptTest = Testing::TestServer;

// The server and its log, and what was to be seen of a client when it was reported as accepted.
struct AcceptedReport {
    ServerSocket& server;
    const Testing::CapturedLog& log;
    std::string newestLine;
    std::vector<ClientIdentity> clients;
    std::promise<std::thread::id> thread;
};

TEST_F(ServerSocketAcceptTest, AClientIsLoggedAndListedUnderTheLockBeforeItIsReportedOnTheAcceptThread) {
    AcceptedReport report{*server_, log_, {}, {}, {}};
    server_->SetContext(&report);
    server_->SetClientAcceptedCallback([](int, void* context) {
        auto& seen = *static_cast<AcceptedReport*>(context);
        seen.newestLine = seen.log.Lines().back().second;
        seen.clients = seen.server.ConnectedClients();
        seen.thread.set_value(std::this_thread::get_id());
    });
    const SeenCalls seen(CallsFrom::kOtherThreads);
    StartAccepting();
    const LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_NE(report.thread.get_future().get(), std::this_thread::get_id());
    ASSERT_EQ(report.clients.size(), 1U);
    const int descriptor = report.clients.front().descriptor;
    EXPECT_THAT(report.newestLine, testing::EndsWith(") Accepted connection with FD " + std::to_string(descriptor)));
    EXPECT_EQ(log_.Count(plog::info, "Accepted connection with FD " + std::to_string(descriptor)), 1);
    EXPECT_THAT(seen.All(), testing::Contains("lock until 5 s").Times(1));
    EXPECT_EQ(server_->IdentityOf(descriptor).serial, 1U);
    EXPECT_EQ(server_->IdentityOf(4711).serial, 0U);
    EXPECT_EQ(server_->IdentityOf(4711).descriptor, 4711);
    server_.reset();
}

// Takes its time over a packet.
struct SlowOwner {
    std::atomic<int> clients{0};
    std::promise<void> hasPacket;
    std::promise<void> mayGoOn;
};

// The receive thread holds a guard of the list while it hands packets over.
TEST_F(ServerSocketAcceptTest, AClientIsListedThoughAnotherThreadHoldsAGuardOfTheList) {
    SlowOwner owner;
    server_->SetContext(&owner);
    server_->SetClientDeletedCallback(nullptr);
    server_->SetClientAcceptedCallback([](int, void* context) { ++static_cast<SlowOwner*>(context)->clients; });
    server_->SetDataReceivedCallback([](int, Bytes* packet, void* context) {
        const std::unique_ptr<Bytes> owned(packet);
        static_cast<SlowOwner*>(context)->hasPacket.set_value();
        static_cast<SlowOwner*>(context)->mayGoOn.get_future().wait();
    });
    StartAll();
    LoopbackSocket first = LoopbackSocket::ConnectedTo(port_.Number());
    first.Send(PacketWith("a"));
    owner.hasPacket.get_future().wait();
    const LoopbackSocket second = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(Testing::WaitUntil([&] { return owner.clients == 2; }));
    owner.mayGoOn.set_value();
    EXPECT_THAT(server_->ConnectedDescriptors(), testing::SizeIs(2));
    server_.reset();
}

TEST_F(ServerSocketAcceptTest, AClientForWhomTheListCannotBeLockedIsReportedButNotListed) {
    const FailingCalls failing(SocketCall::kTimedLock, ETIMEDOUT, 1, FailingCalls::From::kOtherThreads);
    StartAccepting();
    LoopbackSocket client = ConnectClient();
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(log_.Count(plog::error, "Mutex clientsListMutex timed out while acquiring lock."), 1);
    EXPECT_EQ(Events().front().connected, 0U);
    EXPECT_TRUE(server_->ConnectedDescriptors().empty());
    EXPECT_TRUE(client.WaitForEnd());

    const LoopbackSocket next = ConnectClient();
    EXPECT_EQ(server_->ConnectedDescriptors().size(), 1U);
}

class TransientAcceptErrorTest : public ServerSocketAcceptTest, public testing::WithParamInterface<int> {};

TEST_P(TransientAcceptErrorTest, IsRepeatedWithoutALine) {
    const FailingCalls failing(SocketCall::kAccept, GetParam(), 5, FailingCalls::From::kOtherThreads);
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

INSTANTIATE_TEST_SUITE_P(Errors, TransientAcceptErrorTest, testing::Values(EINTR, ECONNABORTED));

class BrokenAcceptTest : public ServerSocketAcceptTest,
                         public testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(BrokenAcceptTest, IsLoggedAndClosesTheListenerAndEndsTheLoop) {
    const auto& [error, text] = GetParam();
    const FailingCalls failing(SocketCall::kAccept, error, 1, FailingCalls::From::kOtherThreads);
    StartAccepting();
    EXPECT_TRUE(log_.WaitFor(plog::info, "Accept loop thread closing."));
    EXPECT_EQ(log_.Count(plog::error,
                         std::string("Accept loop received a broken socket on Accept() request. Error: ") + text),
              1)
        << log_.Text();
    EXPECT_TRUE(Testing::WaitUntil([this] {
        try {
            LoopbackSocket::ConnectedTo(port_.Number());
            return false;
        } catch (const std::system_error&) {
            return true;
        }
    }));
}

INSTANTIATE_TEST_SUITE_P(Errors, BrokenAcceptTest,
                         testing::Values(std::pair(EMFILE, "Too many open files"),
                                         std::pair(EINVAL, "Invalid argument"),
                                         std::pair(ENOBUFS, "No buffer space available")));

// A limit on descriptors that leaves room for a few connections beside the quarter that is kept in reserve. Both ends
// of each connection are descriptors of this process.
class CrowdedServerTest : public ServerSocketAcceptTest {
  protected:
    CrowdedServerTest() {
        others = 0;
        server_->SetDescriptorsForOthersCallback([](void*) { return others.load(); });
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit crowded = before_;
        crowded.rlim_cur = static_cast<rlim_t>(LoopbackSocket().Descriptor()) + kPlaces;
        setrlimit(RLIMIT_NOFILE, &crowded);
    }
    ~CrowdedServerTest() override { setrlimit(RLIMIT_NOFILE, &before_); }

    static constexpr int kPlaces = 40;
    static constexpr const char* kTooMany = "Too many clients. The connection with FD ";
    static std::atomic<std::size_t> others;

    rlimit before_ = {};
};

std::atomic<std::size_t> CrowdedServerTest::others{0};

TEST_F(CrowdedServerTest, DescriptorsForOthersAreLeftToThemAndGoToClientsWhenTheyAreNotNeeded) {
    others = kPlaces;
    StartAccepting();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(log_.Holds(plog::warning, kTooMany));
    others = 0;
    ConnectClient();
}

TEST_F(CrowdedServerTest, TheRoomForClientsIsWhatOthersAndTheReserveLeave) {
    const std::size_t room = server_->RoomForClients();
    EXPECT_GE(room, 10U);
    EXPECT_LE(room, static_cast<std::size_t>(kPlaces));
    others = 5;
    EXPECT_EQ(server_->RoomForClients(), room - 5);
    {
        const LoopbackSocket one;
        const LoopbackSocket another;
        EXPECT_EQ(server_->RoomForClients(), room - 7);
    }
    others = 1000000;
    EXPECT_EQ(server_->RoomForClients(), 0U);
}

}  // namespace
}  // namespace Brenk::Net
