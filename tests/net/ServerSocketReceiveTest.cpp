#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/net/TestServer.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using Testing::FailingCalls;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using Testing::SocketCall;

class ServerSocketReceiveTest : public Testing::TestServer {
  protected:
    // "Received on socket 7bytes: 8 but expected size was: 8"
    static std::string ReceivedLine(int descriptor, int count, int expected) {
        return "Received on socket " + std::to_string(descriptor) + "bytes: " + std::to_string(count) +
               " but expected size was: " + std::to_string(expected);
    }

    static Bytes Joined(const Bytes& first, const Bytes& second) {
        Bytes both = first;
        both.insert(both.end(), second.begin(), second.end());
        return both;
    }

    static Bytes Part(const Bytes& bytes, std::size_t begin, std::size_t end) {
        return {bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.begin() + static_cast<std::ptrdiff_t>(end)};
    }
};

TEST_F(ServerSocketReceiveTest, APacketIsDeliveredWholeWithItsLengthField) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    client.Send({0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D});
    ASSERT_TRUE(WaitForEvents("received", 1));
    EXPECT_THAT(PacketsFrom(descriptor), ElementsAre(Bytes{0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D}));
    EXPECT_EQ(log_.Count(plog::verbose, "Activity detected for socket " + std::to_string(descriptor)), 1);
    EXPECT_EQ(log_.Count(plog::warning, ReceivedLine(descriptor, 8, 8)), 1) << log_.Text();
    EXPECT_EQ(log_.Count(plog::verbose, "Invoking DataReceivedCallback if not null."), 1);
}

TEST_F(ServerSocketReceiveTest, TwoPacketsInOneReadAreTwoCallbacksInOrder) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    client.Send(Joined(PacketWith("first"), PacketWith("second")));
    ASSERT_TRUE(WaitForEvents("received", 2));
    EXPECT_THAT(PacketsFrom(descriptor), ElementsAre(PacketWith("first"), PacketWith("second")));
    EXPECT_EQ(log_.Count(plog::warning, ReceivedLine(descriptor, 23, 11)), 1) << log_.Text();
}

TEST_F(ServerSocketReceiveTest, APacketSplitAcrossReadsIsDeliveredOnceComplete) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    const Bytes packet = PacketWith("split over three passes");
    client.Send(Part(packet, 0, 1));
    ASSERT_TRUE(log_.WaitFor(plog::warning, ReceivedLine(descriptor, 1, 0)));
    client.Send(Part(packet, 1, 10));
    ASSERT_TRUE(log_.WaitFor(plog::warning, ReceivedLine(descriptor, 9, 29)));
    EXPECT_EQ(Count("received"), 0);
    client.Send(Part(packet, 10, packet.size()));
    ASSERT_TRUE(WaitForEvents("received", 1));
    EXPECT_THAT(PacketsFrom(descriptor), ElementsAre(packet));
}

TEST_F(ServerSocketReceiveTest, APacketAndTheBeginOfTheNextAreToldApart) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    const Bytes second = PacketWith("second");
    client.Send(Joined(PacketWith("first"), Part(second, 0, 5)));
    ASSERT_TRUE(WaitForEvents("received", 1));
    client.Send(Part(second, 5, second.size()));
    ASSERT_TRUE(WaitForEvents("received", 2));
    EXPECT_THAT(PacketsFrom(descriptor), ElementsAre(PacketWith("first"), second));
}

TEST_F(ServerSocketReceiveTest, ThePacketsOfSeveralClientsAreNotMixedUp) {
    StartAll();
    constexpr int kClients = 10;
    std::vector<LoopbackSocket> clients;
    std::vector<int> descriptors;
    const Bytes packet = PacketWith("{\"from\":\"0\"}");
    for (int client = 0; client < kClients; ++client) {
        clients.push_back(ConnectClient());
        descriptors.push_back(NewestDescriptor());
    }
    for (const std::size_t end : {7U, 12U, 18U}) {  // all of them in pieces, in turns
        for (std::size_t client = 0; client < kClients; ++client) {
            Bytes own = packet;
            own.at(15) = static_cast<unsigned char>('0' + client);
            clients.at(client).Send(Part(own, end == 7 ? 0 : (end == 12 ? 7 : 12), end));
        }
    }
    ASSERT_TRUE(WaitForEvents("received", kClients));
    for (std::size_t client = 0; client < kClients; ++client) {
        Bytes own = packet;
        own.at(15) = static_cast<unsigned char>('0' + client);
        EXPECT_THAT(PacketsFrom(descriptors.at(client)), ElementsAre(own));
    }
}

TEST_F(ServerSocketReceiveTest, ABufferWhoseFirstTwoBytesAre0NeverYieldsAPacketAndStaysBuffered) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    const Bytes bytes = Joined({0x00, 0x00}, PacketWith("{}"));
    client.Send(bytes);
    ASSERT_TRUE(log_.WaitFor(plog::warning, ReceivedLine(descriptor, 10, 0)));
    client.Send(PacketWith("{}"));
    ASSERT_TRUE(log_.WaitFor(plog::warning, ReceivedLine(descriptor, 8, 0)));
    EXPECT_EQ(Count("received"), 0);
    EXPECT_THAT(server_->ConnectedDescriptors(), ElementsAre(descriptor));
}

TEST_F(ServerSocketReceiveTest, AStreamThatCanNeverBecomeAPacketIsClosedWithAWarning) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const int descriptor = NewestDescriptor();
    client.Send(Bytes(128UL * 1024 + 1, 0x00));
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(log_.Count(plog::warning, "The bytes received on socket " + std::to_string(descriptor) +
                                            " can never become a packet. It will be closed."),
              1);
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_EQ(Count("received"), 0);
}

TEST_F(ServerSocketReceiveTest, WhatIsNoPacketOfOursIsCutByItsLengthAndTheStreamGoesOn) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send({0x01});        // with the next byte a length of 1
    client.Send({0x00, 0x00});  // which leaves 00 00: stuck
    LoopbackSocket other = ConnectClient();
    const int descriptor = NewestDescriptor();
    other.Send(
        Joined({0x05, 0x00, 0x4D, 0x55, 0x58, 0x08, 0x00, 0x4D, 0x55, 0x58, 0x58, 0x7B, 0x7D}, PacketWith("{}")));
    ASSERT_TRUE(WaitForEvents("received", 4));
    EXPECT_THAT(PacketsFrom(descriptor),
                ElementsAre(Bytes{0x05, 0x00, 0x4D, 0x55, 0x58}, Bytes{0x08, 0x00, 0x4D, 0x55, 0x58, 0x58, 0x7B, 0x7D},
                            PacketWith("{}")));
}

TEST_F(ServerSocketReceiveTest, AClientThatClosesWithNothingBufferedIsClosedAndReportedAtTheEndOfThePass) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const std::string descriptor = std::to_string(NewestDescriptor());
    client.Close();
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_THAT(EventNames(), ElementsAre("accepted " + descriptor, "deleted " + descriptor));
    EXPECT_EQ(log_.Count(plog::warning, "Recv returned 0 for socket " + descriptor +
                                            " with a receivedData buffer empty. It will be market for close."),
              1);
    EXPECT_EQ(log_.Count(plog::debug, "Clearing reset sockets list. Current socket to close: " + descriptor), 1);
    EXPECT_THAT(server_->ConnectedDescriptors(), IsEmpty());
    EXPECT_EQ(Events().back().connected, 0U) << "it is off the list when it is reported";
}

TEST_F(ServerSocketReceiveTest, AClientThatClosesInTheMiddleOfAPacketIsClosedAndTheBytesAreDropped) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(Part(PacketWith("unfinished"), 0, 10));
    client.Close();
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_EQ(Count("received"), 0);
    EXPECT_THAT(server_->ConnectedDescriptors(), IsEmpty());
}

TEST_F(ServerSocketReceiveTest, APacketThatIsFollowedByACloseIsStillDelivered) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const std::string descriptor = std::to_string(NewestDescriptor());
    client.Send(PacketWith("last words"));
    client.Close();
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_THAT(EventNames(), ElementsAre("accepted " + descriptor, "received " + descriptor, "deleted " + descriptor));
    EXPECT_EQ(Events().at(1).thread, Events().at(2).thread) << "both come from the receive thread";
}

TEST_F(ServerSocketReceiveTest, AHalfClosedClientIsClosed) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    client.ShutDownSending();
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_EQ(Count("received"), 1);
}

TEST_F(ServerSocketReceiveTest, AResetConnectionIsAnErrorAndTheClientIsClosedOnce) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const std::string descriptor = std::to_string(NewestDescriptor());
    client.Reset();
    ASSERT_TRUE(WaitForEvents("deleted", 1));
    EXPECT_EQ(log_.Count(plog::error, "Error on select for socket " + descriptor + ". Error code: " +
                                          std::to_string(ECONNRESET) + ", Error: Connection reset by peer"),
              1)
        << log_.Text();
    LoopbackSocket next = ConnectClient();  // the loop is past that client
    next.Send(PacketWith("{}"));
    ASSERT_TRUE(WaitForEvents("received", 1));
    EXPECT_EQ(Count("deleted"), 1);
}

TEST_F(ServerSocketReceiveTest, DataFromAClientThatNeverPausesDoesNotStarveTheOthers) {
    StartAll();
    LoopbackSocket busy = ConnectClient();
    std::atomic<bool> stopped{false};
    std::thread sender([&] {
        const Bytes packet = PacketWith(std::string(40000, 'x'));
        while (!stopped) {
            busy.Send(packet);
        }
    });
    LoopbackSocket quiet = ConnectClient();
    const int descriptor = NewestDescriptor();
    for (int count = 1; count <= 3; ++count) {
        quiet.Send(PacketWith("{}"));
        EXPECT_TRUE(
            Testing::WaitUntil([&] { return PacketsFrom(descriptor).size() == static_cast<std::size_t>(count); }));
    }
    stopped = true;
    sender.join();
}

// The receive thread is about to read from the first client when another thread closes that client. Then others come:
// one has the number that was picked before, and one would have the first client's, were it free.
TEST_F(ServerSocketReceiveTest, WhatANewcomerSendsNeverGetsIntoTheBufferOfAClientThatIsClosedMeanwhile) {
    StartAll();
    LoopbackSocket closed = ConnectClient();
    const int descriptor = NewestDescriptor();
    const Bytes unfinished = Part(PacketWith("unfinished"), 0, 4);
    closed.Send(unfinished);
    ASSERT_TRUE(log_.WaitFor(plog::warning, ReceivedLine(descriptor, 4, 16)));

    std::vector<LoopbackSocket> newcomers;
    std::vector<int> descriptors;
    std::atomic<bool> done{false};
    FailingCalls beforeReading(SocketCall::kSetSockOpt, EINVAL, 1, FailingCalls::From::kOtherThreads);
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

TEST_F(ServerSocketReceiveTest, ALongPacketIsDeliveredWhole) {
    StartAll();
    LoopbackSocket client = ConnectClient();
    const Bytes packet = PacketWith(std::string(65529, 'x'));
    ASSERT_EQ(packet.size(), 65535U);
    client.Send(packet);
    ASSERT_TRUE(WaitForEvents("received", 1));
    EXPECT_EQ(Events().back().packet, packet);
}

TEST_F(ServerSocketReceiveTest, WithNothingToReceiveTheWaitEndsAfterASecondAtVerbose) {
    StartAll();
    const LoopbackSocket client = ConnectClient();
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Read select exits for timeout."));
    EXPECT_GE(log_.Count(plog::verbose, "Read select exits for timeout."), 1);
}

TEST_F(ServerSocketReceiveTest, AWaitThatFailsIsAnErrorAndTheNextPassBeginsAfterASecond) {
    const FailingCalls failing(SocketCall::kPoll, ENOMEM, 2, FailingCalls::From::kOtherThreads);
    StartAll();
    LoopbackSocket client = ConnectClient();
    const auto begin = std::chrono::steady_clock::now();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_EQ(log_.Count(plog::error, "Error on select. Error: Cannot allocate memory"), 2);
}

TEST_F(ServerSocketReceiveTest, AWaitThatFailsDoesNotHoldUpTheEndOfTheServer) {
    const FailingCalls failing(SocketCall::kPoll, EINVAL, 1000000, FailingCalls::From::kOtherThreads);
    StartAll();
    const LoopbackSocket client = ConnectClient();
    ASSERT_TRUE(log_.WaitFor(plog::error, "Error on select. Error: Invalid argument"));
    const auto begin = std::chrono::steady_clock::now();
    server_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
}

TEST_F(ServerSocketReceiveTest, ATimeoutThatCannotBeSetIsAnErrorAndTheBytesAreReceivedAllTheSame) {
    FailingCalls failing(SocketCall::kSetSockOpt, EINVAL, 1, FailingCalls::From::kOtherThreads);
    failing.ForOption(SO_RCVTIMEO);
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    EXPECT_EQ(log_.Count(plog::error, "Error set RECV_TIMEOUT for socket " + std::to_string(NewestDescriptor())), 1);
}

class EndOfDrainTest : public ServerSocketReceiveTest, public testing::WithParamInterface<int> {};

TEST_P(EndOfDrainTest, LeavesNoLineAndTheBytesAreReceivedInTheNextPass) {
    const FailingCalls failing(SocketCall::kReceive, GetParam(), 2, FailingCalls::From::kOtherThreads);
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
}

INSTANTIATE_TEST_SUITE_P(Errors, EndOfDrainTest, testing::Values(EAGAIN, EINTR));

TEST_F(ServerSocketReceiveTest, AFailedReadOfOneClientDoesNotCloseIt) {
    const FailingCalls failing(SocketCall::kReceive, EIO, 1, FailingCalls::From::kOtherThreads);
    StartAll();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(WaitForEvents("received", 1));
    EXPECT_EQ(log_.Count(plog::error, "Error on select for socket " + std::to_string(NewestDescriptor()) +
                                          ". Error code: 5, Error: Input/output error"),
              1);
    EXPECT_EQ(Count("deleted"), 0);
}

TEST_F(ServerSocketReceiveTest, WithoutCallbacksPacketsAreDroppedAndClientsStillClosed) {
    server_->SetClientAcceptedCallback(nullptr);
    server_->SetClientDeletedCallback(nullptr);
    server_->SetDataReceivedCallback(nullptr);
    StartAll();
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    client.Send(PacketWith("{}"));
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Invoking DataReceivedCallback if not null."));
    client.ShutDownSending();
    EXPECT_TRUE(client.WaitForEnd());
}

}  // namespace
}  // namespace Brenk::Net
