#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using Testing::CallsFrom;
using testing::ElementsAre;
using Testing::FailingCalls;
using Testing::LoopbackSocket;
using Testing::SeenCalls;
using Testing::SocketCall;

class ServerSocketAcceptTest : public Testing::TestServer {
  protected:
    static int Option(int descriptor, int level, int option) {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(descriptor, level, option, &value, &size), 0);
        return value;
    }
};

TEST_F(ServerSocketAcceptTest, AnAcceptedClientIsLoggedListedAndReported) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    EXPECT_EQ(log_.Count(plog::info, "Accepted connection with FD " + std::to_string(descriptor)), 1);
    EXPECT_THAT(server_->ConnectedDescriptors(), ElementsAre(descriptor));
    EXPECT_EQ(Events().front().connected, 1U) << "it was not listed yet when it was reported";
    EXPECT_NE(Events().front().thread, std::this_thread::get_id());
}

// The log, and the newest line in it when a client was reported as accepted.
struct LogAtReport {
    const Testing::CapturedLog& log;
    std::promise<std::string> newestLine;
};

TEST_F(ServerSocketAcceptTest, AnAcceptedClientIsLoggedBeforeItIsReported) {
    LogAtReport report{log_, {}};
    server_->SetContext(&report);
    server_->SetClientAcceptedCallback([](int, void* context) {
        auto& owner = *static_cast<LogAtReport*>(context);
        owner.newestLine.set_value(owner.log.Lines().back().second);
    });
    StartAccepting();
    const LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_THAT(report.newestLine.get_future().get(), testing::HasSubstr(") Accepted connection with FD "));
    server_.reset();
}

TEST_F(ServerSocketAcceptTest, TheListIsLockedFor5) {
    const SeenCalls seen(CallsFrom::kOtherThreads);
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    EXPECT_THAT(seen.All(), testing::Contains("lock until 5 s").Times(1));
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

TEST_F(ServerSocketAcceptTest, TheSnapshotHoldsTheClientsInTheOrderInWhichTheyCame) {
    StartAccepting();
    const LoopbackSocket first = ConnectClient();
    const int firstDescriptor = NewestDescriptor();
    const LoopbackSocket second = ConnectClient();
    const int secondDescriptor = NewestDescriptor();
    EXPECT_THAT(server_->ConnectedDescriptors(), ElementsAre(firstDescriptor, secondDescriptor));
    EXPECT_TRUE(log_.Holds(plog::warning, "Requested lock withtout timeout for mutex clientsListMutex"));
}

TEST_F(ServerSocketAcceptTest, EachClientHasASerialNumberOfItsOwn) {
    StartAccepting();
    const LoopbackSocket first = ConnectClient();
    const LoopbackSocket second = ConnectClient();
    const std::vector<ClientIdentity> clients = server_->ConnectedClients();
    ASSERT_EQ(clients.size(), 2U);
    EXPECT_EQ(clients.at(0).serial, 1U);
    EXPECT_EQ(clients.at(1).serial, 2U);
    EXPECT_EQ(server_->IdentityOf(clients.at(1).descriptor).serial, 2U);
    EXPECT_EQ(server_->IdentityOf(4711).serial, 0U);
    EXPECT_EQ(server_->IdentityOf(4711).descriptor, 4711);
}

TEST_F(ServerSocketAcceptTest, AnAcceptedConnectionHasKeepAliveAndATimeoutForWhatIsUnacknowledged) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    EXPECT_EQ(Option(descriptor, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), 60);
    EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPCNT), 5);
    EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), 10);
    EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT), 110000);
    EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_NODELAY), 1);
}

TEST_F(ServerSocketAcceptTest, AnAcceptedConnectionIsNotLeftToTheProgramsThatTheProcessStarts) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    EXPECT_EQ(fcntl(NewestDescriptor(), F_GETFD), FD_CLOEXEC);
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

TEST_F(ServerSocketAcceptTest, ConnectedClientsAreServedOnAfterTheListenerBroke) {
    FailingCalls failing(SocketCall::kAccept, EMFILE, 1, FailingCalls::From::kOtherThreads);
    failing.After(1);
    StartAll();
    LoopbackSocket client = ConnectClient();
    EXPECT_TRUE(log_.WaitFor(plog::info, "Accept loop thread closing."));
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    EXPECT_TRUE(server_->Send(NewestDescriptor(), {0x41}));
    EXPECT_EQ(client.Receive(1), Bytes{0x41});
}

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

TEST_F(CrowdedServerTest, ANewcomerBeyondTheLimitIsClosedAtOnceWithAWarningAndFreedPlacesAreUsableAgain) {
    StartAll();
    std::vector<LoopbackSocket> clients;
    while (!log_.Holds(plog::warning, kTooMany)) {
        ASSERT_LT(clients.size(), static_cast<std::size_t>(kPlaces));
        clients.push_back(LoopbackSocket::ConnectedTo(port_.Number()));
        ASSERT_TRUE(Testing::WaitUntil([&] {
            return Count("accepted") == static_cast<int>(clients.size()) || log_.Holds(plog::warning, kTooMany);
        }));
    }
    EXPECT_TRUE(clients.back().WaitForEnd());
    clients.pop_back();
    const int accepted = Count("accepted");
    EXPECT_EQ(static_cast<std::size_t>(accepted), clients.size()) << "who is turned away is not reported";
    EXPECT_GE(accepted, 3);

    // Those who are there are served on.
    clients.front().Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));

    // And their places, once free, are usable again.
    clients.resize(1);
    EXPECT_TRUE(WaitForEvents("deleted", accepted - 1));
    LoopbackSocket next = ConnectClient();
    next.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 2));
    EXPECT_FALSE(log_.Holds(plog::error, "broken socket"));
}

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

TEST_F(ServerSocketAcceptTest, NoDescriptorOf1024OrMoreBecomesAClient) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max <= 2000) {
        GTEST_SKIP() << "this system allows only " << limit.rlim_max << " descriptors";
    }
    std::vector<LoopbackSocket> fillers(1100);
    StartAccepting();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(log_.Holds(plog::warning, "Too many clients. The connection with FD 11"));
    EXPECT_EQ(Count("accepted"), 0);
    fillers.clear();
    const LoopbackSocket next = ConnectClient();
    EXPECT_LT(NewestDescriptor(), 1024);
    EXPECT_EQ(fcntl(NewestDescriptor(), F_GETFD), FD_CLOEXEC) << "the programs that the process starts would have it";
}

TEST_F(ServerSocketAcceptTest, AStormOfSignalsKeepsNobodyOut) {
    StartAll();
    const Testing::SignalStorm storm;
    std::vector<LoopbackSocket> clients;
    for (int count = 0; count < 20; ++count) {
        clients.push_back(ConnectClient());
        clients.back().Send(PacketWith("{}"));
    }
    EXPECT_TRUE(WaitForEvents("received", 20));
    for (const int descriptor : server_->ConnectedDescriptors()) {
        EXPECT_TRUE(server_->Send(descriptor, {0x41}));
    }
    EXPECT_GT(storm.Handled(), 10);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

}  // namespace
}  // namespace Brenk::Net
