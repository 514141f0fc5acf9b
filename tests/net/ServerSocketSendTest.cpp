#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Log.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/LoggedLine.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Logged;
using Testing::LoopbackSocket;
using Testing::ServerEvent;

class ServerSocketSendTest : public Testing::TestServer {
  protected:
    static Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

    static std::string FailureLine(const std::string& error, int descriptor) {
        return "Cannot send data to server socket" + error + "Socket " + std::to_string(descriptor) +
               " will be closed.";
    }

    // The debug line of a send holds all its bytes.
    static void LogLess() { plog::get()->setMaxSeverity(plog::info); }

    // The kernel takes some kilobytes for it, and no more before it reads.
    LoopbackSocket ConnectSlowClient() {
        const int before = Count("accepted");
        LoopbackSocket client;
        client.UseSmallReceiveBuffer();
        client.ConnectTo(port_.Number());
        EXPECT_TRUE(WaitForEvents("accepted", before + 1));
        const int smallest = 1;  // the kernel takes its smallest instead
        EXPECT_EQ(setsockopt(NewestDescriptor(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest), 0);
        return client;
    }
};

TEST_F(ServerSocketSendTest, TheBareBytesReachTheClientAndAreReportedAsSent) {
    StartAccepting();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    EXPECT_TRUE(server_->Send(descriptor, Text("{\"code\":1}")));
    EXPECT_EQ(client.Receive(10), Text("{\"code\":1}"));
    const ServerEvent sent = Events().back();
    EXPECT_EQ(sent.what, "sent");
    EXPECT_EQ(sent.descriptor, descriptor);
    EXPECT_EQ(sent.bytesSent, 10);
    EXPECT_EQ(sent.thread, std::this_thread::get_id());
    EXPECT_TRUE(server_->Send(descriptor, {}));
    EXPECT_EQ(Count("sent"), 1) << "nothing was sent";
    EXPECT_EQ(log_.Count(plog::debug, "Sending data to server client. Message data:{\"code\":1}"), 1);
    EXPECT_EQ(client.Receive(1, milliseconds(50)), Bytes{}) << "something was added";
}

TEST_F(ServerSocketSendTest, AFailedSendIsLoggedAndTheClientClosedAndReportedOnTheSendingThread) {
    StartAccepting();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    {
        const FailingCalls failing(SocketCall::kSend, EPIPE);
        EXPECT_FALSE(server_->Send(descriptor, Text("{}")));
    }
    EXPECT_THAT(server_->ConnectedDescriptors(), IsEmpty());
    const ServerEvent deleted = Events().back();
    EXPECT_EQ(deleted.what, "deleted");
    EXPECT_EQ(deleted.descriptor, descriptor);
    EXPECT_EQ(deleted.thread, std::this_thread::get_id());
    EXPECT_EQ(deleted.connected, 0U);
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(Count("sent"), 0);
}

TEST_F(ServerSocketSendTest, AFailedSendLogsItsStepsInOrderAndTakesTheListLockForTheClose) {
    server_->SetClientDeletedCallback(nullptr);  // ours would ask for the clients, which takes the lock as well
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    const std::size_t before = log_.Lines().size();
    const FailingCalls failing(SocketCall::kSend, EPIPE);
    EXPECT_FALSE(server_->Send(descriptor, Text("{}")));
    EXPECT_THAT(log_.LinesBehind(before),
                ElementsAre(Logged(plog::debug, "Sending data to server client. Message data:{}"),
                            Logged(plog::error, FailureLine("Broken pipe", descriptor)),
                            Logged(plog::warning, "Requested lock withtout timeout for mutex clientsListMutex")));
}

TEST_F(ServerSocketSendTest, ToNobodyItFailsAndClosesNobody) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const int nobody = NewestDescriptor() + 1000;
    EXPECT_FALSE(server_->Send(nobody, Text("{}")));
    EXPECT_EQ(log_.Count(plog::error, FailureLine("Bad file descriptor", nobody)), 1);
    EXPECT_FALSE(server_->Send(ClientIdentity{NewestDescriptor(), 0}, Text("{}")));
    EXPECT_FALSE(server_->Send(ClientIdentity{}, Text("{}")));
    EXPECT_EQ(Count("sent") + Count("deleted"), 0);
    EXPECT_EQ(server_->ConnectedDescriptors().size(), 1U);
}

TEST_F(ServerSocketSendTest, ToAnIdentityWhoseNumberWasReusedItFailsAndTheNewcomerGetsNothing) {
    StartAccepting();
    // Both are made first, so that the freed number goes to the server's end of one of them. That is the second: the
    // number of the first was picked when the server began to wait for it.
    LoopbackSocket other;
    LoopbackSocket newcomer;
    const LoopbackSocket client = ConnectClient();
    const ClientIdentity gone = server_->IdentityOf(NewestDescriptor());
    server_->CloseClient(gone.descriptor, ServerSocket::ListLock::kTake);
    other.ConnectTo(port_.Number());
    ASSERT_TRUE(WaitForEvents("accepted", 2));
    newcomer.ConnectTo(port_.Number());
    ASSERT_TRUE(WaitForEvents("accepted", 3));
    const ClientIdentity present = server_->IdentityOf(NewestDescriptor());
    ASSERT_EQ(present.descriptor, gone.descriptor) << "the number was not reused";
    EXPECT_NE(present.serial, gone.serial);

    EXPECT_FALSE(server_->Send(gone, Text("secret")));
    EXPECT_EQ(log_.Count(plog::error, FailureLine("Bad file descriptor", gone.descriptor)), 1);
    EXPECT_EQ(Count("deleted"), 1) << "the newcomer was closed for it";
    EXPECT_TRUE(server_->Send(present, Text("{}")));
    EXPECT_EQ(newcomer.Receive(2), Text("{}"));
    EXPECT_EQ(newcomer.Receive(1, milliseconds(50)), Bytes{});
}

// Something had to be sent in a second call. Before that another thread closes the client, and newcomers come.
TEST_F(ServerSocketSendTest, TheRestOfABufferNeverReachesANewcomerWhenItsClientIsClosedMeanwhile) {
    StartAccepting();
    const LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    std::vector<LoopbackSocket> newcomers;
    FailingCalls interrupted(SocketCall::kSend, EINTR);
    interrupted.Doing([&] {
        server_->CloseClient(descriptor, ServerSocket::ListLock::kTake);
        newcomers.push_back(ConnectClient());
        newcomers.push_back(ConnectClient());
    });
    EXPECT_FALSE(server_->Send(descriptor, Text("secret")));
    ASSERT_EQ(newcomers.size(), 2U);
    for (LoopbackSocket& newcomer : newcomers) {
        EXPECT_EQ(newcomer.Receive(1, milliseconds(50)), Bytes{});
    }
    EXPECT_EQ(log_.Count(plog::error, FailureLine("Broken pipe", descriptor)), 1);
    EXPECT_EQ(Count("deleted"), 1) << "a newcomer was closed for it";
}

TEST_F(ServerSocketSendTest, ClosingAClientRemovesClosesAndReportsItOnceAndTakesTheListLockOnlyWhenAsked) {
    constexpr const char* kLockLine = "Requested lock withtout timeout for mutex clientsListMutex";
    server_->CloseClient(4711, ServerSocket::ListLock::kAlreadyTaken);
    EXPECT_EQ(log_.Count(plog::warning, kLockLine), 0);
    server_->CloseClient(4711, ServerSocket::ListLock::kTake);
    EXPECT_EQ(log_.Count(plog::warning, kLockLine), 1);
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    server_->CloseClient(descriptor, ServerSocket::ListLock::kTake);
    server_->CloseClient(descriptor, ServerSocket::ListLock::kTake);
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(Count("deleted"), 1);
    EXPECT_THAT(server_->ConnectedDescriptors(), IsEmpty());
}

// A client's own end, and whether the connection had ended when the client was reported as deleted.
struct WatchedClient {
    LoopbackSocket socket;
    bool endedAtReport = false;
};

TEST_F(ServerSocketSendTest, AClientIsClosedWhenItIsReported) {
    StartAccepting();
    WatchedClient client = {ConnectClient(), false};
    server_->SetContext(&client);
    server_->SetClientDeletedCallback([](int, void* context) {
        auto& watched = *static_cast<WatchedClient*>(context);
        watched.endedAtReport = watched.socket.WaitForEnd(seconds(5));
    });
    server_->CloseClient(NewestDescriptor(), ServerSocket::ListLock::kTake);
    EXPECT_TRUE(client.endedAtReport);
}

TEST_F(ServerSocketSendTest, AClientThatResetsWhileItIsSentToIsReportedOnce) {
    StartAll();
    for (int round = 1; round <= 20; ++round) {
        LoopbackSocket client = ConnectClient();
        const ClientIdentity identity = server_->IdentityOf(NewestDescriptor());
        client.Send(PacketWith("{}"));
        std::thread sender([&] {
            while (server_->Send(identity, Text("{}"))) {
            }
        });
        client.Reset();
        sender.join();
        ASSERT_TRUE(WaitForEvents("deleted", round));
    }
    LoopbackSocket last = ConnectClient();  // the receive thread is past the others
    last.Send(PacketWith("last"));
    const int descriptor = NewestDescriptor();
    EXPECT_TRUE(Testing::WaitUntil([&] { return PacketsFrom(descriptor).size() == 1; }));
    EXPECT_EQ(Count("deleted"), 20);
}

TEST_F(ServerSocketSendTest, SendersAndClosersAndTheReceiveThreadShareTheClients) {
    StartAll();
    std::atomic<bool> stopped{false};
    std::thread sender([&] {
        while (!stopped) {
            for (const ClientIdentity& client : server_->ConnectedClients()) {
                server_->Send(client, Text("{}"));
            }
        }
    });
    for (int round = 0; round < 50; ++round) {
        LoopbackSocket client = ConnectClient();
        client.Send(PacketWith("{}"));
        if (round % 2 == 0) {
            server_->CloseClient(NewestDescriptor(), ServerSocket::ListLock::kTake);
        }
    }
    EXPECT_TRUE(WaitForEvents("deleted", 50));
    stopped = true;
    sender.join();
    EXPECT_EQ(Count("deleted"), 50);
    EXPECT_THAT(server_->ConnectedDescriptors(), IsEmpty());
}

TEST_F(ServerSocketSendTest, AClientThatTakesNothingFor2SecondsIsClosedLikeAfterAFailedSend) {
    LogLess();
    StartAll();
    LoopbackSocket stalled = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    const auto begin = Clock::now();
    EXPECT_TRUE(server_->Send(descriptor, Bytes(1024UL * 1024)));
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_GE(Clock::now() - begin, milliseconds(1990));
    EXPECT_EQ(log_.Count(plog::error, FailureLine("Resource temporarily unavailable", descriptor)), 1) << log_.Text();
    EXPECT_TRUE(stalled.WaitForEnd());
    EXPECT_TRUE(server_->ConnectedDescriptors().empty());
    EXPECT_FALSE(log_.Holds(plog::warning, "Recv returned 0")) << log_.Text();
}

// Its last bytes, the reset and what is pending to it all wait for the receive thread's next pass.
TEST_F(ServerSocketSendTest, WhatAClientSentBeforeItResetItsConnectionIsTakenIn) {
    LogLess();
    StartAll();
    LoopbackSocket resetting = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    EXPECT_TRUE(server_->Send(descriptor, Bytes(100000, 0x41)));
    LoopbackSocket other = ConnectClient();
    std::promise<void> isReset;
    std::atomic<bool> isHeld{false};
    FailingCalls held(SocketCall::kReceive, EAGAIN, 1, CallsFrom::kOtherThreads);
    held.Doing([&] {
        isHeld = true;
        isReset.get_future().wait();
    });
    other.Send({0x41});
    ASSERT_TRUE(Testing::WaitUntil([&] { return isHeld.load(); }));
    resetting.Send(PacketWith("close the lock"));
    resetting.Reset();
    isReset.set_value();
    EXPECT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_THAT(PacketsFrom(descriptor), ElementsAre(PacketWith("close the lock")));
}

TEST_F(ServerSocketSendTest, WakingTheReceiveThreadLogsNothingAndDoesNotPutTheEndOfItsSecondOff) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    constexpr const char* kLine = "Read select exits for timeout.";
    ASSERT_TRUE(log_.WaitFor(plog::verbose, kLine));
    const int before = log_.Count(plog::verbose, kLine);
    const auto begin = Clock::now();
    int wakes = 0;
    while (Clock::now() - begin < milliseconds(3500)) {
        const FailingCalls full(SocketCall::kSend, EAGAIN);
        EXPECT_TRUE(server_->Send(descriptor, {0x41}));
        ++wakes;
        EXPECT_EQ(client.Receive(1), Bytes{0x41});
        std::this_thread::sleep_for(milliseconds(20));
    }
    EXPECT_GE(wakes, 5);
    EXPECT_GE(log_.Count(plog::verbose, kLine) - before, 2) << "the waking puts it off";
    EXPECT_LE(log_.Count(plog::verbose, kLine) - before, 5) << "the waking brings it on";
    EXPECT_FALSE(log_.Holds(plog::verbose, "Activity detected for socket")) << log_.Text();
}

// The receive thread waits for all clients at the same time, and only for those that were there when it began.
TEST_F(ServerSocketSendTest, ALongAnswerCountsAsSentAtOnceAndReachesAClientThatCameDuringTheWaitToo) {
    LogLess();
    StartAll();
    const LoopbackSocket first = ConnectClient();
    LoopbackSocket newcomer = ConnectSlowClient();
    const Bytes longest(1024UL * 1024, 0x41);
    EXPECT_TRUE(server_->Send(NewestDescriptor(), longest));
    const ServerEvent sent = Events().back();
    EXPECT_EQ(sent.what, "sent");
    EXPECT_EQ(sent.bytesSent, 1048576);
    EXPECT_EQ(sent.thread, std::this_thread::get_id());
    EXPECT_EQ(newcomer.Receive(longest.size(), seconds(60)), longest);
    EXPECT_EQ(Count("sent"), 1);
}

}  // namespace
}  // namespace Brenk::Net
