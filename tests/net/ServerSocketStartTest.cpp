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

using testing::ElementsAre;
using Testing::LoopbackSocket;
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
        const int count = log_.Count(plog::error, line);
        const std::vector<int> before = OpenDescriptors();
        EXPECT_FALSE(server.InitSocket());
        EXPECT_EQ(log_.Count(plog::error, line), count + 1) << log_.Text();
        EXPECT_EQ(OpenDescriptors(), before);
    }
};

TEST_F(ServerSocketStartTest, ItSetsItsOptionsThenBindsToAnyAddressThenListensWithABacklogOf128) {
    const std::vector<int> before = OpenDescriptors();
    const SeenCalls seen;
    EXPECT_TRUE(server_->InitSocket());
    EXPECT_THAT(seen.All(), ElementsAre("setsockopt SO_REUSEADDR 1", "setsockopt SO_REUSEPORT 1",
                                        "bind 0.0.0.0:" + std::to_string(port_.Number()), "listen 128"));
    const std::vector<int> after = OpenDescriptors();
    std::vector<int> added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(fcntl(added.front(), F_GETFD), FD_CLOEXEC) << "other programs would have it";
    server_->StartAcceptLoop();
    const LoopbackSocket client = ConnectClient();
    EXPECT_EQ(fcntl(NewestDescriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, TheClientListHasARobustMutexOfItsName) {
    EXPECT_EQ(log_.Count(plog::info, "Mutex clientsListMutex created."), 1);
    EXPECT_EQ(log_.Count(plog::info, "Mutex initialized in .ctor"), 1);
    const SeenCalls seen;
    const ServerSocket another;
    EXPECT_THAT(seen.All(), ElementsAre("robust"));
}

TEST_F(ServerSocketStartTest, APortIsBoundFrom1To65535AndNoOther) {
    for (const int port : {0, -1, 65536, 70000, -5555, 2147483647}) {
        ServerSocket server(port);
        const FailingCalls unused(SocketCall::kBind, EADDRINUSE);
        ExpectFailedInit(server, "Error on bind server socket. Invalid argument");
        EXPECT_EQ(unused.Left(), 1) << port << " was tried";
    }
    for (const int port : {1, 256, 65535}) {
        ServerSocket server(port);
        const SeenCalls seen;
        const FailingCalls failing(SocketCall::kBind, EADDRINUSE);  // others may need that port
        ExpectFailedInit(server, "Error on bind server socket. Address already in use");
        EXPECT_EQ(seen.All().back(), "bind 0.0.0.0:" + std::to_string(port));
    }
}

TEST_F(ServerSocketStartTest, WhatFailsIsAnErrorAndLeavesNothingOpen) {
    {
        const FailingCalls failing(SocketCall::kSocket, EMFILE);
        ExpectFailedInit(*server_, "Error init server socket. Too many open files");
    }
    {
        const FailingCalls failing(SocketCall::kListen, EADDRINUSE);
        ExpectFailedInit(*server_, "Error on listen server socket. Address already in use");
    }
    const LoopbackSocket owner = LoopbackSocket::Listening();
    ServerSocket server(owner.Port());
    ExpectFailedInit(server, "Error on bind server socket. Address already in use");
}

TEST_F(ServerSocketStartTest, OptionsThatCannotBeSetDoNotStopIt) {
    ServerSocket server(LoopbackSocket::Listening().Port());  // free again, and reserved by nobody
    const FailingCalls failing(SocketCall::kSetSockOpt, EINVAL, 2);
    EXPECT_TRUE(server.InitSocket()) << log_.Text();
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

TEST_F(ServerSocketStartTest, ThePortCanBeSharedAndIsFreeAtOnceWhenTheServerAndItsClientsEnd) {
    StartAll();
    EXPECT_TRUE(ServerSocket(port_.Number()).InitSocket());
    LoopbackSocket client = ConnectClient();
    LoopbackSocket other = ConnectClient();
    server_.reset();
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(other.WaitForEnd());
    EXPECT_THROW(LoopbackSocket::ConnectedTo(port_.Number()), std::system_error);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
    ServerSocket next(port_.Number());
    EXPECT_TRUE(next.InitSocket()) << log_.Text();
}

TEST_F(ServerSocketStartTest, ALoopThatCannotBeStartedIsAnErrorAndMayBeTriedAgainAndRunsOnce) {
    ASSERT_TRUE(server_->InitSocket());
    {
        const ThreadCreationFails fault(0);
        EXPECT_FALSE(server_->StartAcceptLoop());
        EXPECT_FALSE(server_->StartReceiveLoop());
    }
    EXPECT_EQ(log_.Count(plog::error, "Cannot spawn accept loop thread."), 1);
    EXPECT_EQ(log_.Count(plog::error, "Cannot spawn receive data loop thread."), 1);
    EXPECT_FALSE(log_.Holds(plog::info, "thread spawned."));
    for (int call = 0; call < 2; ++call) {
        EXPECT_TRUE(server_->StartAcceptLoop());
        EXPECT_TRUE(server_->StartReceiveLoop());
    }
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    server_.reset();
    EXPECT_EQ(log_.Count(plog::info, "Accept loop thread spawned."), 1);
    EXPECT_EQ(log_.Count(plog::info, "Accept loop thread closing."), 1);
    EXPECT_EQ(log_.Count(plog::info, "Receive data loop thread spawned."), 1);
}

TEST_F(ServerSocketStartTest, WithoutAListenerTheAcceptLoopEndsAtOnce) {
    server_->StartAcceptLoop();
    EXPECT_TRUE(log_.WaitFor(plog::info, "Accept loop thread closing."));
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

}  // namespace
}  // namespace Brenk::Net
