#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <vector>

#include "net/ServerSocket.h"
#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/ThreadCreationFails.h"

namespace Brenk::Net {
namespace {

using Testing::CapturedLog;
using testing::ElementsAre;
using Testing::FailingCalls;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using Testing::SeenCalls;
using Testing::SocketCall;
using Testing::ThreadCreationFails;

class ServerSocketStartTest : public Testing::TestServer {
  protected:
    // In ascending order.
    static std::vector<int> OpenDescriptors() {
        std::vector<int> descriptors;
        for (int descriptor = 0; descriptor < 1024; ++descriptor) {
            if (fcntl(descriptor, F_GETFD) != -1) {
                descriptors.push_back(descriptor);
            }
        }
        return descriptors;
    }

    // InitSocket fails with this line and leaves nothing open.
    void ExpectFailedInit(ServerSocket& server, const std::string& line) {
        const std::vector<int> before = OpenDescriptors();
        EXPECT_FALSE(server.InitSocket());
        EXPECT_EQ(log_.Count(plog::error, line), 1) << log_.Text();
        EXPECT_EQ(OpenDescriptors(), before);
    }
};

TEST_F(ServerSocketStartTest, ItListensOnItsPort) {
    EXPECT_TRUE(server_->InitSocket());
    LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, ItSetsItsOptionsThenBindsToAnyAddressThenListensWithABacklogOf128) {
    const SeenCalls seen;
    EXPECT_TRUE(server_->InitSocket());
    EXPECT_THAT(seen.All(), ElementsAre("setsockopt SO_REUSEADDR 1", "setsockopt SO_REUSEPORT 1",
                                        "bind 0.0.0.0:" + std::to_string(port_.Number()), "listen 128"));
}

TEST_F(ServerSocketStartTest, NoSocketOfItsIsHandedDownToOtherPrograms) {
    const std::vector<int> before = OpenDescriptors();
    StartAccepting();
    const std::vector<int> after = OpenDescriptors();
    std::vector<int> added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(fcntl(added.front(), F_GETFD), FD_CLOEXEC);
    const LoopbackSocket client = ConnectClient();
    EXPECT_EQ(fcntl(NewestDescriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(ServerSocketStartTest, TheDefaultPortIs5555) {
    const FailingCalls failing(SocketCall::kBind, EADDRINUSE);  // others may need that port
    ServerSocket server;
    EXPECT_FALSE(server.InitSocket());
    EXPECT_EQ(Testing::LastBoundPort(), 5555);
}

TEST_F(ServerSocketStartTest, TheClientListHasARobustMutexOfItsName) {
    EXPECT_EQ(log_.Count(plog::info, "Mutex clientsListMutex created."), 1);
    EXPECT_EQ(log_.Count(plog::info, "Mutex initialized in .ctor"), 1);
    const SeenCalls seen;
    const ServerSocket another;
    EXPECT_THAT(seen.All(), ElementsAre("robust"));
}

class InvalidPortTest : public ServerSocketStartTest, public testing::WithParamInterface<int> {};

TEST_P(InvalidPortTest, IsAFailedBindAndOpensNoOtherPort) {
    ServerSocket server(GetParam());
    const FailingCalls unused(SocketCall::kBind, EADDRINUSE);
    ExpectFailedInit(server, "Error on bind server socket. Invalid argument");
    EXPECT_EQ(unused.Left(), 1) << "it was tried";
}

INSTANTIATE_TEST_SUITE_P(Ports, InvalidPortTest, testing::Values(0, -1, 65536, 70000, -5555, 2147483647));

class ValidPortTest : public ServerSocketStartTest, public testing::WithParamInterface<int> {};

TEST_P(ValidPortTest, IsBound) {
    ServerSocket server(GetParam());
    const FailingCalls failing(SocketCall::kBind, EADDRINUSE);  // others may need that port
    ExpectFailedInit(server, "Error on bind server socket. Address already in use");
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(Testing::LastBoundPort(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Ports, ValidPortTest, testing::Values(1, 256, 5555, 65535));

TEST_F(ServerSocketStartTest, ASocketThatCannotBeCreatedIsAnError) {
    const FailingCalls failing(SocketCall::kSocket, EMFILE);
    ExpectFailedInit(*server_, "Error init server socket. Too many open files");
}

TEST_F(ServerSocketStartTest, APortThatAListenerWithoutReusePortHasIsAFailedBind) {
    const LoopbackSocket owner = LoopbackSocket::Listening();
    ServerSocket server(owner.Port());
    ExpectFailedInit(server, "Error on bind server socket. Address already in use");
}

TEST_F(ServerSocketStartTest, AFailedListenIsAnError) {
    const FailingCalls failing(SocketCall::kListen, EADDRINUSE);
    ExpectFailedInit(*server_, "Error on listen server socket. Address already in use");
}

TEST_F(ServerSocketStartTest, OptionsThatCannotBeSetDoNotStopIt) {
    ServerSocket server(LoopbackSocket::Listening().Port());  // free again, and reserved by nobody
    const FailingCalls failing(SocketCall::kSetSockOpt, EINVAL, 2);
    EXPECT_TRUE(server.InitSocket()) << log_.Text();
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, TwoServersMayShareAPort) {
    ServerSocket second(port_.Number());
    EXPECT_TRUE(server_->InitSocket());
    EXPECT_TRUE(second.InitSocket());
}

TEST_F(ServerSocketStartTest, ThePortIsUsableAgainAtOnceAfterConnectionsOnIt) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    server_.reset();
    EXPECT_TRUE(client.WaitForEnd());
    ServerSocket next(port_.Number());
    EXPECT_TRUE(next.InitSocket()) << log_.Text();
}

TEST_F(ServerSocketStartTest, StartingTheAcceptLoopTwiceStartsOneThread) {
    StartAccepting();
    server_->StartAcceptLoop();
    server_->StartAcceptLoop();
    ConnectClient();
    server_.reset();
    EXPECT_EQ(log_.Count(plog::info, "Accept loop thread spawned."), 1);
    EXPECT_EQ(log_.Count(plog::info, "Accept loop thread closing."), 1);
}

TEST_F(ServerSocketStartTest, StartingTheReceiveLoopTwiceStartsOneThread) {
    StartAll();
    server_->StartReceiveLoop();
    EXPECT_TRUE(log_.WaitFor(plog::info, "Receive data loop thread spawned."));
    server_.reset();
    EXPECT_EQ(log_.Count(plog::info, "Receive data loop thread spawned."), 1);
}

TEST_F(ServerSocketStartTest, AnAcceptLoopThatCannotBeStartedIsAnErrorAndMayBeTriedAgain) {
    ASSERT_TRUE(server_->InitSocket());
    {
        const ThreadCreationFails fault(0);
        EXPECT_FALSE(server_->StartAcceptLoop());
    }
    EXPECT_EQ(log_.Count(plog::error, "Cannot spawn accept loop thread."), 1);
    EXPECT_FALSE(log_.Holds(plog::info, "thread spawned."));
    EXPECT_TRUE(server_->StartAcceptLoop());
    EXPECT_TRUE(server_->StartAcceptLoop()) << "it runs";
    ConnectClient();
}

TEST_F(ServerSocketStartTest, AReceiveLoopThatCannotBeStartedIsAnErrorAndMayBeTriedAgain) {
    StartAccepting();
    {
        const ThreadCreationFails fault(0);
        EXPECT_FALSE(server_->StartReceiveLoop());
    }
    EXPECT_EQ(log_.Count(plog::error, "Cannot spawn receive data loop thread."), 1);
    EXPECT_FALSE(log_.Holds(plog::info, "Receive data loop thread spawned."));
    EXPECT_TRUE(server_->StartReceiveLoop());
    EXPECT_TRUE(server_->StartReceiveLoop()) << "it runs";
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
}

TEST_F(ServerSocketStartTest, WithoutAListenerTheAcceptLoopEndsAtOnce) {
    server_->StartAcceptLoop();
    EXPECT_TRUE(log_.WaitFor(plog::info, "Accept loop thread closing."));
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, DestroyingItClosesEveryClientAndTheListener) {
    StartAll();
    LoopbackSocket first = ConnectClient();
    LoopbackSocket second = ConnectClient();
    server_.reset();
    EXPECT_TRUE(first.WaitForEnd());
    EXPECT_TRUE(second.WaitForEnd());
    EXPECT_THROW(LoopbackSocket::ConnectedTo(port_.Number()), std::system_error);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, AServerThatWasNeverStartedCanBeDestroyed) {
    server_.reset();
    EXPECT_THAT(Events(), IsEmpty());
}

}  // namespace
}  // namespace Brenk::Net
