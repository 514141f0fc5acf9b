#include <fcntl.h>
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
#include "tests/support/ResourceLimit.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using Testing::LoopbackSocket;

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
    const FailingCalls failing(SocketCall::kTimedLock, ETIMEDOUT, 1, CallsFrom::kOtherThreads);
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

TEST_F(ServerSocketAcceptTest, AnInterruptedOrAbortedAcceptIsRepeatedWithoutALineAndAnyOtherErrorClosesTheListener) {
    StartAccepting();
    for (const int error : {EINTR, ECONNABORTED}) {
        const FailingCalls failing(SocketCall::kAccept, error, 5, CallsFrom::kOtherThreads);
        const LoopbackSocket client = ConnectClient();
        const LoopbackSocket next = ConnectClient();
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();

    const FailingCalls failing(SocketCall::kAccept, ENOBUFS, 1, CallsFrom::kOtherThreads);
    LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(log_.WaitFor(plog::info, "Accept loop thread closing."));
    EXPECT_EQ(log_.Count(plog::error,
                         "Accept loop received a broken socket on Accept() request. Error: No buffer space available"),
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

TEST_F(ServerSocketAcceptTest, TheRoomForClientsIsWhatOthersAndTheReserveLeave) {
    static std::atomic<std::size_t> others{0};
    server_->SetDescriptorsForOthersCallback([](void*) { return others.load(); });
    Testing::ResourceLimit limit(RLIMIT_NOFILE);
    ASSERT_TRUE(limit.Set(static_cast<rlim_t>(LoopbackSocket().Descriptor()) + 40));
    const std::size_t room = server_->RoomForClients();
    EXPECT_GE(room, 10U);
    EXPECT_LT(room, 40U);
    others = 5;
    EXPECT_EQ(server_->RoomForClients(), room - 5);
    const LoopbackSocket one;
    EXPECT_EQ(server_->RoomForClients(), room - 6);
    others = 1000000;
    EXPECT_EQ(server_->RoomForClients(), 0U);
}

TEST_F(ServerSocketAcceptTest, NoDescriptorOf1024OrMoreBecomesAClient) {
    Testing::ResourceLimit limit(RLIMIT_NOFILE);
    ASSERT_TRUE(limit.Set(limit.Hard()));
    if (limit.Hard() <= 2000) {
        GTEST_SKIP() << "this system allows only " << limit.Hard() << " descriptors";
    }
    std::vector<LoopbackSocket> fillers(1100);
    std::promise<void> isAccepting;
    FailingCalls second(SocketCall::kAccept, 0, 1, CallsFrom::kOtherThreads);
    second.After(1).Doing([&] { isAccepting.set_value(); });
    StartAccepting();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(log_.Holds(plog::warning, "Too many clients. The connection with FD 11"));
    EXPECT_EQ(Count("accepted"), 0);
    // The kernel picks the next number when accept begins to wait, for which nothing can be waited in turn.
    isAccepting.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    fillers.clear();
    const LoopbackSocket next = ConnectClient();
    EXPECT_LT(NewestDescriptor(), 1024);
    EXPECT_EQ(fcntl(NewestDescriptor(), F_GETFD), FD_CLOEXEC) << "the programs that the process starts would have it";
}

}  // namespace
}  // namespace Brenk::Net
