// What clients are due that do not take it at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Log.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using Testing::FailingCalls;
using Testing::LoopbackSocket;
using Testing::ServerEvent;
using Testing::SocketCall;

class ServerSocketSendOnTest : public Testing::TestServer {
  protected:
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

    static std::string TooSlow(int descriptor) {
        return "Cannot send data to server socketResource temporarily unavailableSocket " + std::to_string(descriptor) +
               " will be closed.";
    }

    const Bytes large_ = Bytes(100000, 0x41);
};

TEST_F(ServerSocketSendOnTest, ALongAnswerReachesAReadingClientWholeAndCountsAsSentAtOnce) {
    LogLess();
    StartAll();
    LoopbackSocket client = ConnectSlowClient();
    const Bytes longest(1024UL * 1024, 0x41);
    EXPECT_TRUE(server_->Send(NewestDescriptor(), longest));
    const ServerEvent sent = Events().back();
    EXPECT_EQ(sent.what, "sent");
    EXPECT_EQ(sent.bytesSent, 1048576);
    EXPECT_EQ(sent.thread, std::this_thread::get_id());
    EXPECT_EQ(client.Receive(longest.size(), seconds(60)), longest);
    EXPECT_EQ(Count("sent"), 1);
}

TEST_F(ServerSocketSendOnTest, AClientThatReadsSlowlyGetsEverythingInOrder) {
    LogLess();
    StartAll();
    LoopbackSocket client = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    Bytes expected;
    for (unsigned char number = 0; number < 10; ++number) {
        const Bytes answer(100000, number);
        EXPECT_TRUE(server_->Send(descriptor, answer));
        expected.insert(expected.end(), answer.begin(), answer.end());
    }
    Bytes received;
    while (received.size() < expected.size()) {
        // Its slowness is what is tested.
        std::this_thread::sleep_for(milliseconds(50));
        const Bytes part = client.Receive(std::min<std::size_t>(50000, expected.size() - received.size()));
        ASSERT_FALSE(part.empty());
        received.insert(received.end(), part.begin(), part.end());
    }
    EXPECT_EQ(received, expected);
    EXPECT_TRUE(server_->Send(descriptor, {0x42}));
    EXPECT_EQ(client.Receive(1), Bytes{0x42});
}

TEST_F(ServerSocketSendOnTest, ForNobodyASendWaitsForAClientThatDoesNotRead) {
    LogLess();
    StartAll();
    const LoopbackSocket stalled = ConnectSlowClient();
    const int stalledDescriptor = NewestDescriptor();
    LoopbackSocket reading = ConnectClient();
    const auto begin = Clock::now();
    while (server_->Send(stalledDescriptor, large_)) {
    }
    EXPECT_TRUE(server_->Send(NewestDescriptor(), {0x41}));
    EXPECT_EQ(reading.Receive(1), Bytes{0x41});
    EXPECT_LT(Clock::now() - begin, milliseconds(1500)) << "2 s are what it was waited for";
}

TEST_F(ServerSocketSendOnTest, WhatFindsNoRoomFailsAndClosesTheClientOnTheSendingThread) {
    LogLess();
    StartAll();
    LoopbackSocket stalled = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    int sent = 0;
    while (server_->Send(descriptor, large_)) {
        ++sent;
    }
    EXPECT_GE(sent, 10) << "a mebibyte is kept";
    EXPECT_EQ(log_.Count(plog::error, TooSlow(descriptor)), 1) << log_.Text();
    EXPECT_EQ(Events().back().what, "deleted");
    EXPECT_EQ(Events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(Count("sent"), sent);
    EXPECT_TRUE(stalled.WaitForEnd());
    EXPECT_FALSE(server_->Send(descriptor, {0x41}));
    EXPECT_TRUE(log_.Holds(plog::error, "Cannot send data to server socketBad file descriptor")) << log_.Text();
}

TEST_F(ServerSocketSendOnTest, AClientThatTakesNothingFor2SecondsIsClosedLikeAfterAFailedSend) {
    LogLess();
    StartAll();
    LoopbackSocket stalled = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    const auto begin = Clock::now();
    EXPECT_TRUE(server_->Send(descriptor, Bytes(1024UL * 1024)));
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_GE(Clock::now() - begin, milliseconds(1990));
    EXPECT_EQ(log_.Count(plog::error, TooSlow(descriptor)), 1) << log_.Text();
    EXPECT_TRUE(stalled.WaitForEnd());
    EXPECT_TRUE(server_->ConnectedDescriptors().empty());
    EXPECT_FALSE(log_.Holds(plog::warning, "Recv returned 0")) << log_.Text();
}

// Each mebibyte has 10 seconds.
TEST_F(ServerSocketSendOnTest, AClientThatTakesATrickleIsClosedAfter10Seconds) {
    LogLess();
    StartAll();
    LoopbackSocket trickling = ConnectSlowClient();
    const auto begin = Clock::now();
    EXPECT_TRUE(server_->Send(NewestDescriptor(), Bytes(1024UL * 1024)));
    std::size_t taken = 0;
    while (Count("deleted") == 0) {
        ASSERT_LT(Clock::now() - begin, seconds(40));
        taken += trickling.Receive(4000, milliseconds(100)).size();
        // Its slowness is what is tested.
        std::this_thread::sleep_for(milliseconds(100));
    }
    EXPECT_GE(Clock::now() - begin, milliseconds(9990));
    EXPECT_GT(taken, 0U);
}

// Its last bytes, the reset and what is pending to it all wait for the receive thread's next pass.
TEST_F(ServerSocketSendOnTest, WhatAClientSentBeforeItResetItsConnectionIsTakenIn) {
    LogLess();
    StartAll();
    LoopbackSocket resetting = ConnectSlowClient();
    const int descriptor = NewestDescriptor();
    EXPECT_TRUE(server_->Send(descriptor, large_));
    LoopbackSocket other = ConnectClient();
    std::promise<void> isReset;
    std::atomic<bool> isHeld{false};
    FailingCalls held(SocketCall::kReceive, EAGAIN, 1, FailingCalls::From::kOtherThreads);
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

TEST_F(ServerSocketSendOnTest, WakingTheReceiveThreadLogsNothingAndDoesNotPutTheEndOfItsSecondOff) {
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

// It waits for all of them at the same time, and only the list it has then.
TEST_F(ServerSocketSendOnTest, AClientThatCameDuringTheWaitIsSentOnWithoutWaitingForItsEnd) {
    LogLess();
    StartAll();
    const LoopbackSocket first = ConnectClient();
    ASSERT_TRUE(Testing::WaitUntil([&] { return server_->ConnectedDescriptors().size() == 1; }));
    LoopbackSocket newcomer = ConnectSlowClient();
    const Bytes longest(1024UL * 1024, 0x41);
    EXPECT_TRUE(server_->Send(NewestDescriptor(), longest));
    EXPECT_EQ(newcomer.Receive(longest.size(), seconds(60)), longest);
}

TEST_F(ServerSocketSendOnTest, ThirtyThousandBytesToEachOfManyAreNotMixedUp) {
    LogLess();
    StartAll();
    constexpr unsigned char kClients = 12;
    std::vector<LoopbackSocket> clients;
    std::vector<ClientIdentity> identities;
    for (unsigned char number = 0; number < kClients; ++number) {
        clients.push_back(number % 2 == 0 ? ConnectSlowClient() : ConnectClient());
        identities.push_back(server_->IdentityOf(NewestDescriptor()));
    }
    std::vector<std::thread> senders;
    for (unsigned char thread = 0; thread < 2; ++thread) {
        senders.emplace_back([&, thread] {
            for (int round = 0; round < 10; ++round) {
                for (unsigned char number = thread; number < kClients;
                     number = static_cast<unsigned char>(number + 2)) {
                    EXPECT_TRUE(server_->Send(identities.at(number), Bytes(30000, number)));
                }
            }
        });
    }
    // All at the same time: one whose turn came late would be too slow.
    std::vector<std::future<Bytes>> received;
    for (LoopbackSocket& client : clients) {
        received.push_back(std::async(std::launch::async, [&client] { return client.Receive(300000, seconds(60)); }));
    }
    for (unsigned char number = 0; number < kClients; ++number) {
        EXPECT_EQ(received.at(number).get(), Bytes(300000, number));
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
}

}  // namespace
}  // namespace Brenk::Net
