#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/LoggedLine.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using Testing::Logged;
using Testing::LoopbackSocket;

using ServerSocketReceiveTest = Testing::TestServer;

TEST_F(ServerSocketReceiveTest, APacketThatIsFollowedByACloseIsDeliveredWholeBeforeTheClientIsReportedAsGone) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const std::string descriptor = std::to_string(NewestDescriptor());
    client.Send({0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D});
    client.Close();
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_THAT(EventNames(), ElementsAre("accepted " + descriptor, "received " + descriptor, "deleted " + descriptor));
    EXPECT_EQ(Events().at(1).packet, (Bytes{0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D}));
    EXPECT_EQ(Events().at(1).thread, Events().at(2).thread) << "both come from the receive thread";
    EXPECT_EQ(Events().at(2).connected, 0U) << "it is off the list when it is reported";
}

// The receive thread is about to read from the first client when another thread closes that client. Then others come:
// one has the number that was picked before, and one would have the first client's, were it free.
TEST_F(ServerSocketReceiveTest, WhatANewcomerSendsNeverGetsIntoTheBufferOfAClientThatIsClosedMeanwhile) {
    StartAll();
    LoopbackSocket closed = ConnectClient();
    const int descriptor = NewestDescriptor();
    closed.Send({0x10, 0x00, 'M', 'U'});
    ASSERT_TRUE(log_.WaitFor(plog::warning, "bytes: 4 but expected size was: 16"));

    std::vector<LoopbackSocket> newcomers;
    std::vector<int> descriptors;
    std::atomic<bool> done{false};
    FailingCalls beforeReading(SocketCall::kSetSockOpt, EINVAL, 1, CallsFrom::kOtherThreads);
    beforeReading.ForOption(SO_RCVTIMEO).Doing([&] {
        server_->CloseClient(descriptor, ServerSocket::ListLock::kTake);
        for (const char* text : {"first", "second"}) {
            newcomers.push_back(ConnectClient());
            newcomers.back().Send(PacketWith(text));
            descriptors.push_back(NewestDescriptor());
        }
        done = true;
    });
    closed.Send({'M'});
    ASSERT_TRUE(Testing::WaitUntil([&] { return done.load(); }));
    ASSERT_TRUE(WaitForEvents("received", 2)) << log_.Text();
    EXPECT_THAT(PacketsFrom(descriptors.at(0)), ElementsAre(PacketWith("first")));
    EXPECT_THAT(PacketsFrom(descriptors.at(1)), ElementsAre(PacketWith("second")));
    EXPECT_EQ(Count("deleted"), 1);
}

TEST_F(ServerSocketReceiveTest, AWaitThatFailsIsAnErrorAndThePauseBehindItDoesNotHoldUpTheEndOfTheServer) {
    StartAccepting();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    const auto begin = std::chrono::steady_clock::now();
    {
        const FailingCalls failing(SocketCall::kPoll, ENOMEM, 2, CallsFrom::kOtherThreads);
        server_->StartReceiveLoop();
        EXPECT_TRUE(WaitForEvents("received", 1));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_EQ(log_.Count(plog::error, "Error on select. Error: Cannot allocate memory"), 2);

    const FailingCalls lasting(SocketCall::kPoll, EINVAL, 1000000, CallsFrom::kOtherThreads);
    ASSERT_TRUE(log_.WaitFor(plog::error, "Error on select. Error: Invalid argument"));
    const auto end = std::chrono::steady_clock::now();
    server_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - end, std::chrono::milliseconds(900));
}

// The receive loop begins when the clients are there and have sent, so that its first pass meets them all. Nothing but
// the loop writes lines: the callbacks only count.
class ServerSocketFirstPassTest : public Testing::TestServer {
  protected:
    ServerSocketFirstPassTest() {
        accepted = 0;
        deleted = 0;
        server_->SetClientAcceptedCallback([](int, void*) { ++accepted; });
        server_->SetClientDeletedCallback([](int, void*) { ++deleted; });
        server_->SetDataReceivedCallback(
            [](int, std::vector<unsigned char>* packet, void*) { const std::unique_ptr<Bytes> owned(packet); });
        StartAccepting();
    }

    // Connects a client and waits until the server has it.
    LoopbackSocket ConnectNext() {
        const int before = accepted;
        LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
        EXPECT_TRUE(Testing::WaitUntil([&] { return accepted == before + 1; }));
        return client;
    }

    // The server's numbers of the clients, in the order in which they came.
    std::vector<std::string> Numbers() const {
        constexpr const char* kAccepted = "Accepted connection with FD ";
        std::vector<std::string> numbers;
        for (const auto& [severity, line] : log_.Lines()) {
            const std::size_t begin = line.find(kAccepted);
            if (begin != std::string::npos) {
                numbers.push_back(line.substr(begin + std::string(kAccepted).size()));
            }
        }
        return numbers;
    }

    // Starts the receive loop and gives the first `count` lines from then on.
    std::vector<Testing::CapturedLog::Line> LinesOfFirstPass(std::size_t count) {
        const std::size_t before = log_.Lines().size();
        server_->StartReceiveLoop();
        EXPECT_TRUE(Testing::WaitUntil([&] { return log_.Lines().size() >= before + count; })) << log_.Text();
        auto lines = log_.LinesBehind(before);
        lines.resize(std::min(lines.size(), count));
        return lines;
    }

    static std::atomic<int> accepted;
    static std::atomic<int> deleted;
};

std::atomic<int> ServerSocketFirstPassTest::accepted{0};
std::atomic<int> ServerSocketFirstPassTest::deleted{0};

TEST_F(ServerSocketFirstPassTest, LocksFor5AndWaitsASecondAtMostAndReads1024BytesWithATimeoutOf150Microseconds) {
    LoopbackSocket client = ConnectNext();
    client.Send(PacketWith("{}"));
    const SeenCalls seen(CallsFrom::kOtherThreads);
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(7),
                ElementsAre("lock until 5 s", "poll 1000 ms", "lock until 5 s", "setsockopt SO_RCVTIMEO 150",
                            "recv 1024 bytes, flags 0", "poll 0 ms", "lock until 5 s"));
}

TEST_F(ServerSocketFirstPassTest, WithoutAClientThePassOnlyLocksAndTheNextComesAfterASecond) {
    const auto begin = std::chrono::steady_clock::now();
    const SeenCalls seen(CallsFrom::kOtherThreads);
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(2), ElementsAre("lock until 5 s", "lock until 5 s"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(950));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
}

TEST_F(ServerSocketFirstPassTest, APassThatCannotLockTheListIsSkipped) {
    LoopbackSocket client = ConnectNext();
    client.Send(PacketWith("{}"));
    const SeenCalls seen(CallsFrom::kOtherThreads);
    const FailingCalls failing(SocketCall::kTimedLock, ETIMEDOUT, 2, CallsFrom::kOtherThreads);
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(4), ElementsAre("lock until 5 s", "lock until 5 s", "lock until 5 s", "poll 1000 ms"));
    EXPECT_EQ(log_.Count(plog::error, "Mutex clientsListMutex timed out while acquiring lock."), 2);
}

TEST_F(ServerSocketFirstPassTest, NothingIsReadWhenTheListCannotBeLockedAfterTheWait) {
    LoopbackSocket client = ConnectNext();
    client.Send(PacketWith("{}"));
    const SeenCalls seen(CallsFrom::kOtherThreads);
    FailingCalls failing(SocketCall::kTimedLock, ETIMEDOUT, 1, CallsFrom::kOtherThreads);
    failing.After(1);
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(6), ElementsAre("lock until 5 s", "poll 1000 ms", "lock until 5 s", "lock until 5 s",
                                           "poll 1000 ms", "lock until 5 s"));
    EXPECT_EQ(failing.Left(), 0);
}

TEST_F(ServerSocketFirstPassTest, ItsLinesComeInTheirOrderWithOneForEachPacket) {
    LoopbackSocket client = ConnectNext();
    Bytes both = PacketWith("first");
    const Bytes second = PacketWith("second");
    both.insert(both.end(), second.begin(), second.end());
    client.Send(both);
    const std::string number = Numbers().front();
    EXPECT_THAT(LinesOfFirstPass(5), ElementsAre(Logged(plog::info, "Receive data loop thread spawned."),
                                                 Logged(plog::verbose, "Activity detected for socket " + number),
                                                 Logged(plog::warning, "Received on socket " + number +
                                                                           "bytes: 23 but expected size was: 11"),
                                                 Logged(plog::verbose, "Invoking DataReceivedCallback if not null."),
                                                 Logged(plog::verbose, "Invoking DataReceivedCallback if not null.")));
}

TEST_F(ServerSocketFirstPassTest, ClosedClientsAreClosedAtItsEndWithoutTakingTheLockAgain) {
    LoopbackSocket first = ConnectNext();
    LoopbackSocket second = ConnectNext();
    first.Close();
    second.Close();
    const std::vector<std::string> numbers = Numbers();
    const auto activity = [&](std::size_t index) {
        return Logged(plog::verbose, "Activity detected for socket " + numbers.at(index));
    };
    const auto ended = [&](std::size_t index) {
        return Logged(plog::warning, "Recv returned 0 for socket " + numbers.at(index) +
                                         " with a receivedData buffer empty. It will be market for close.");
    };
    const auto closed = [&](std::size_t index) {
        return Logged(plog::debug, "Clearing reset sockets list. Current socket to close: " + numbers.at(index));
    };
    EXPECT_THAT(LinesOfFirstPass(7), ElementsAre(Logged(plog::info, "Receive data loop thread spawned."), activity(0),
                                                 ended(0), activity(1), ended(1), closed(0), closed(1)));
    EXPECT_TRUE(Testing::WaitUntil([] { return deleted == 2; }));
    EXPECT_FALSE(log_.Holds(plog::warning, "Requested lock withtout timeout")) << log_.Text();
}

// Closing a client that is being waited for ends the wait, as if it had something to say.
TEST_F(ServerSocketFirstPassTest, AClientThatIsClosedDuringTheWaitIsNotDrained) {
    LoopbackSocket client = ConnectNext();
    const int descriptor = std::stoi(Numbers().front());
    const SeenCalls seen(CallsFrom::kOtherThreads);
    FailingCalls duringTheWait(SocketCall::kPoll, 0, 1, CallsFrom::kOtherThreads);
    duringTheWait.Doing([&] { server_->CloseClient(descriptor, ServerSocket::ListLock::kTake); });
    server_->StartReceiveLoop();
    EXPECT_THAT(seen.First(4), ElementsAre("lock until 5 s", "poll 1000 ms", "lock until 5 s", "lock until 5 s"));
    EXPECT_FALSE(log_.Holds(plog::verbose, "Activity detected")) << log_.Text();
    EXPECT_FALSE(log_.Holds(plog::warning, "Recv returned 0"));
    EXPECT_FALSE(log_.Holds(plog::debug, "Clearing reset sockets list."));
    EXPECT_EQ(deleted, 1);
}

TEST_F(ServerSocketFirstPassTest, WithoutAnyCallbackEverythingIsDoneAllTheSame) {
    ServerSocket bare(port_.Number());
    server_.reset();
    ASSERT_TRUE(bare.InitSocket());
    bare.StartAcceptLoop();
    bare.StartReceiveLoop();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Invoking DataReceivedCallback if not null."));
    const std::vector<int> connected = bare.ConnectedDescriptors();
    ASSERT_EQ(connected.size(), 1U);
    EXPECT_TRUE(bare.Send(connected.front(), {0x41}));
    EXPECT_EQ(client.Receive(1), Bytes{0x41});
    const FailingCalls failing(SocketCall::kSend, EPIPE);
    EXPECT_FALSE(bare.Send(connected.front(), {0x41}));
    EXPECT_TRUE(client.WaitForEnd());
}

}  // namespace
}  // namespace Brenk::Net
