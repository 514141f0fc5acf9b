// A gateway frame announces its own length in its first byte; what stands behind it does not matter here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using Testing::FailingCalls;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using Testing::SeenCalls;
using Testing::SocketCall;

constexpr const char* kMoreChunks = "Received data but more than one data chunk must be handled.";
constexpr const char* kEndOfStream =
    "Received 0 bytes as read result, and no other read operations was pending. The socket must be disconected.";

class ClientSocketReceiveTest : public Testing::GatewayConnection {
  protected:
    // A frame of `length` bytes.
    static Bytes Frame(std::size_t length) {
        Bytes frame(length, 0x5A);
        frame.at(0) = static_cast<unsigned char>(length);
        return frame;
    }

    static Bytes Part(const Bytes& bytes, std::size_t begin, std::size_t end) {
        return {bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.begin() + static_cast<std::ptrdiff_t>(end)};
    }

    Bytes received_;
};

TEST_F(ClientSocketReceiveTest, AFrameOf19BytesInChunksOf10And9IsOneBufferOf19Bytes) {
    Connect();
    const Bytes frame = Frame(19);
    gateway_.Send(Part(frame, 0, 10));
    std::thread gateway([&] {
        EXPECT_TRUE(log_.WaitFor(plog::debug, kMoreChunks));
        gateway_.Send(Part(frame, 10, 19));
    });
    EXPECT_TRUE(socket_->Receive(received_));
    gateway.join();
    EXPECT_EQ(received_, frame);
    EXPECT_EQ(log_.Count(plog::debug, kMoreChunks), 1) << log_.Text();
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, SetsTheTimeoutThenWaits11SecondsAtMostThenReads1024BytesWithoutFlags) {
    Connect();
    gateway_.Send(Frame(19));
    const SeenCalls seen;
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_THAT(seen.All(),
                ElementsAre("setsockopt SO_RCVTIMEO 11000000", "poll 11000 ms", "recv 1024 bytes, flags 0"));
}

TEST_F(ClientSocketReceiveTest, AWholeFrameIsHandedOverAtOnce) {
    Connect();
    for (const std::size_t length : {1U, 2U, 19U, 255U}) {
        received_.clear();
        gateway_.Send(Frame(length));
        const auto begin = Clock::now();
        EXPECT_TRUE(socket_->Receive(received_));
        EXPECT_LT(Clock::now() - begin, seconds(8));
        EXPECT_EQ(received_, Frame(length));
    }
    EXPECT_FALSE(log_.Holds(plog::debug, kMoreChunks));
}

TEST_F(ClientSocketReceiveTest, AFrameThatComesByteByByteIsOneBuffer) {
    Connect();
    const Bytes frame = Frame(19);
    std::thread gateway([&] {
        for (const unsigned char byte : frame) {
            gateway_.Send({byte});
            std::this_thread::yield();
        }
    });
    EXPECT_TRUE(socket_->Receive(received_));
    gateway.join();
    EXPECT_EQ(received_, frame);
}

TEST_F(ClientSocketReceiveTest, TheReceiveTimeoutBecomes11Seconds) {
    Connect();
    gateway_.Send(Frame(1));
    EXPECT_TRUE(socket_->Receive(received_));
    timeval timeout = {};
    socklen_t size = sizeof timeout;
    ASSERT_EQ(getsockopt(DescriptorConnectedTo(listener_.Port()), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
    EXPECT_EQ(timeout.tv_sec, 11);
    EXPECT_EQ(timeout.tv_usec, 0);
}

TEST_F(ClientSocketReceiveTest, TwoFramesGluedIntoOneChunkAreHandedOverAfterTheTimeoutOf11Seconds) {
    Connect();
    Bytes glued = Frame(19);
    const Bytes second = Frame(7);
    glued.insert(glued.end(), second.begin(), second.end());
    gateway_.Send(glued);
    const auto begin = Clock::now();
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_GE(Clock::now() - begin, seconds(10));
    EXPECT_LT(Clock::now() - begin, seconds(20));
    EXPECT_EQ(received_, glued);
    EXPECT_THAT(Failures(), IsEmpty());
    EXPECT_THAT(Callbacks(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, AFrameAndPartOfTheNextAreHandedOverWhenNothingMoreComes) {
    Connect();
    Bytes bytes = Frame(19);
    bytes.insert(bytes.end(), {0x07, 0x5A});
    gateway_.Send(bytes);
    FailingCalls timeout(SocketCall::kReceive, EAGAIN);
    timeout.After(1);
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_EQ(received_, bytes);
}

TEST_F(ClientSocketReceiveTest, MoreBytesThanFitOneReadAreCollected) {
    Connect();
    Bytes bytes(3000, 0x77);
    gateway_.Send(bytes);
    FailingCalls timeout(SocketCall::kReceive, EAGAIN);
    timeout.After(3);
    ASSERT_TRUE(socket_->Receive(received_));
    EXPECT_EQ(received_, bytes);
}

TEST_F(ClientSocketReceiveTest, ATimeoutWithNothingCollectedIsRepeated) {
    Connect();
    gateway_.Send(Frame(19));
    const FailingCalls timeouts(SocketCall::kReceive, EAGAIN, 3);
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_EQ(timeouts.Left(), 0);
    EXPECT_EQ(received_, Frame(19));
}

TEST_F(ClientSocketReceiveTest, NothingReadableWithin11SecondsIsTrueWithNothingAppendedAndNoLineAboveVerbose) {
    Connect();
    const std::size_t before = log_.Lines().size();
    const SeenCalls seen;
    const auto begin = Clock::now();
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_GE(Clock::now() - begin, milliseconds(10900));
    EXPECT_LT(Clock::now() - begin, seconds(20));
    EXPECT_THAT(received_, IsEmpty());
    EXPECT_THAT(seen.All(), ElementsAre("setsockopt SO_RCVTIMEO 11000000", "poll 11000 ms")) << "nothing to read";
    const auto lines = log_.Lines();
    ASSERT_EQ(lines.size(), before + 1) << log_.Text();
    EXPECT_EQ(lines.back().first, plog::verbose);
    EXPECT_THAT(lines.back().second, testing::EndsWith(") Nothing received within 11 seconds."));
    EXPECT_THAT(Callbacks(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, AnOrderlyCloseYieldsTheReceiveErrorCallbackWith0AndNoReport) {
    Connect();
    gateway_.Close();
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("callback receive 0", kEndOfStream));
    EXPECT_EQ(SocketReports() + ConnectionReports(), 0);
}

TEST_F(ClientSocketReceiveTest, WhatCameBeforeTheCloseIsStillAppended) {
    Connect();
    const Bytes begun = Part(Frame(19), 0, 10);
    gateway_.Send(begun);
    gateway_.Close();
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(received_, begun);
    EXPECT_THAT(Callbacks(), ElementsAre("receive 0"));
}

TEST_F(ClientSocketReceiveTest, AResetYieldsTheReceiveErrorCallbackWithItsNumber) {
    Connect();
    gateway_.Reset();
    EXPECT_FALSE(socket_->Receive(received_));
    const std::string number = std::to_string(ECONNRESET);
    EXPECT_THAT(Failures(),
                ElementsAre("Error not handled. Error code received:" + number, GatewayLine("Connection reset by peer"),
                            "callback receive " + number, "report 1"));
}

// An error of recv and its line.
struct ReceiveError {
    int error;
    const char* text;
};

void PrintTo(const ReceiveError& error, std::ostream* stream) {
    *stream << strerrorname_np(error.error);
}

class ReceiveErrorTest : public ClientSocketReceiveTest, public testing::WithParamInterface<ReceiveError> {};

TEST_P(ReceiveErrorTest, IsLoggedThenHandedToTheReceiveErrorCallbackThenReportedAsKind1) {
    Connect();
    gateway_.Send(Frame(1));
    const FailingCalls failing(SocketCall::kReceive, GetParam().error);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre(GetParam().text, GatewayLine(std::strerror(GetParam().error)),
                                        "callback receive " + std::to_string(GetParam().error), "report 1"));
    EXPECT_EQ(log_.Count(plog::error, GetParam().text), 1);
    EXPECT_EQ(ConnectionReports(), 1);
}

INSTANTIATE_TEST_SUITE_P(Errors, ReceiveErrorTest,
                         testing::Values(ReceiveError{ENOTSOCK, "Not a socket file descriptor on connectionSocket"},
                                         ReceiveError{ECONNREFUSED, "Connection refused on connectionSocket"},
                                         ReceiveError{EBADF, "Bad file descriptor on connectionSocket."},
                                         ReceiveError{ETIMEDOUT, "Error not handled. Error code received:110"},
                                         ReceiveError{EHOSTUNREACH, "Error not handled. Error code received:113"}));

TEST_F(ClientSocketReceiveTest, AReadThatFailsBecauseTheSocketWasClosedMeanwhileIsNoFailure) {
    Connect();
    gateway_.Send(Frame(1));
    FailingCalls failing(SocketCall::kReceive, EBADF);
    failing.Doing([this] { socket_->Close(); });
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, ATimeoutThatCannotBeSetFailsAndIsReportedAsKind0WithoutACallback) {
    Connect();
    FailingCalls failing(SocketCall::kSetSockOpt, EINVAL);
    failing.ForOption(SO_RCVTIMEO);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("Cannot set socket option SO_RCVTIMEO", "report 0"));
    EXPECT_EQ(log_.Count(plog::error, "Cannot set socket option SO_RCVTIMEO"), 1);
}

TEST_F(ClientSocketReceiveTest, AWaitThatFailsIsLoggedAndReportedAsKind0) {
    Connect();
    const FailingCalls failing(SocketCall::kPoll, ENOMEM);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("Cannot wait for the socket. Error:Cannot allocate memory", "report 0"));
}

TEST_F(ClientSocketReceiveTest, WithoutAConnectionItFailsWithALineAndWithoutReportOrCallback) {
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("Cannot set socket option SO_RCVTIMEO"));
    EXPECT_THAT(received_, IsEmpty());
}

TEST_F(ClientSocketReceiveTest, CloseFromAnotherThreadWakesTheReceiverWithoutACallback) {
    Connect();
    std::atomic<bool> begun{false};
    const auto begin = Clock::now();
    std::thread receiver([&] {
        begun = true;
        EXPECT_FALSE(socket_->Receive(received_));
    });
    EXPECT_TRUE(Testing::WaitUntil([&] { return begun.load(); }));
    std::this_thread::sleep_for(milliseconds(50));  // most likely it waits by now; it must fail in any case
    socket_->Close();
    receiver.join();
    EXPECT_LT(Clock::now() - begin, seconds(8));
    EXPECT_THAT(Callbacks(), IsEmpty());
    EXPECT_EQ(SocketReports() + ConnectionReports(), 0);
}

TEST_F(ClientSocketReceiveTest, CloseInTheMiddleOfAFrameWakesTheReceiverWithoutACallback) {
    Connect();
    gateway_.Send(Part(Frame(19), 0, 10));
    std::thread receiver([&] { EXPECT_FALSE(socket_->Receive(received_)); });
    EXPECT_TRUE(log_.WaitFor(plog::debug, kMoreChunks));
    socket_->Close();
    receiver.join();
    EXPECT_THAT(Failures(), IsEmpty());
}

// While it waits, another thread closes the connection, and others are opened on which bytes arrive.
TEST_F(ClientSocketReceiveTest, AReceiverThatWaitsNeverReadsFromASocketThatGotTheNumberOfItsOwn) {
    Connect();
    std::vector<LoopbackSocket> newcomers;
    FailingCalls interrupted(SocketCall::kPoll, EINTR);
    interrupted.Doing([&] {
        socket_->Close();
        newcomers.push_back(LoopbackSocket::Listening());
        newcomers.push_back(LoopbackSocket::ConnectedTo(newcomers.front().Port()));
        newcomers.push_back(newcomers.front().Accept());
        newcomers.at(1).Send(Frame(19));
        newcomers.at(2).Send(Frame(19));
    });
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(newcomers.size(), 3U);
    EXPECT_THAT(received_, IsEmpty());
    EXPECT_THAT(Callbacks(), IsEmpty());
}

// An owner whose callback drops the socket while the call that failed is still on the stack.
void DropSocket(int, void* context) {
    auto& owned = *static_cast<std::shared_ptr<ClientSocket>*>(context);
    owned->Close();
    owned.reset();
}

TEST_F(ClientSocketReceiveTest, TheCallbackMayCloseAndDropTheSocket) {
    Connect();
    std::shared_ptr<ClientSocket> owned = std::move(socket_);
    owned->SetCallbacks(nullptr, DropSocket, &owned);
    const std::weak_ptr<ClientSocket> alive = owned;
    gateway_.ShutDownSending();
    {
        const std::shared_ptr<ClientSocket> caller = alive.lock();
        EXPECT_FALSE(caller->Receive(received_));
        EXPECT_EQ(owned, nullptr);
    }
    EXPECT_TRUE(alive.expired());
    EXPECT_TRUE(gateway_.WaitForEnd());
    EXPECT_EQ(log_.Count(plog::error, kEndOfStream), 1);
}

TEST_F(ClientSocketReceiveTest, WithoutACallbackTheEndIsOnlyLogged) {
    Connect();
    socket_->SetCallbacks(nullptr, nullptr, nullptr);
    gateway_.Close();
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre(kEndOfStream));
}

TEST_F(ClientSocketReceiveTest, InterruptedCallsAreRepeated) {
    Connect();
    gateway_.Send(Frame(19));
    const FailingCalls waits(SocketCall::kPoll, EINTR, 3);
    const FailingCalls reads(SocketCall::kReceive, EINTR, 3);
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_EQ(waits.Left() + reads.Left(), 0);
    EXPECT_EQ(received_, Frame(19));
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, AStormOfSignalsWhileWaitingAndReadingIsNoFailure) {
    Connect();
    const Bytes frame = Frame(19);
    std::thread receiver([&] { EXPECT_TRUE(socket_->Receive(received_)); });
    {
        const Testing::SignalStorm storm;
        EXPECT_TRUE(Testing::WaitUntil([&] { return storm.Handled() > 100; }));
        gateway_.Send(Part(frame, 0, 10));
        EXPECT_TRUE(log_.WaitFor(plog::debug, kMoreChunks));
        const int handled = storm.Handled();
        EXPECT_TRUE(Testing::WaitUntil([&] { return storm.Handled() > handled + 100; }));
        gateway_.Send(Part(frame, 10, 19));
        receiver.join();
    }
    EXPECT_EQ(received_, frame);
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, OneThreadSendsWhileAnotherReceives) {
    Connect();
    constexpr int kFrames = 200;
    std::thread sender([this] {
        for (int count = 0; count < kFrames; ++count) {
            Bytes frame = Frame(5);
            EXPECT_TRUE(socket_->Send(frame));
        }
    });
    std::thread gateway([this] {
        for (int count = 0; count < kFrames; ++count) {
            gateway_.Send(gateway_.Receive(5));
        }
    });
    std::size_t total = 0;
    while (total < 5UL * kFrames) {
        Bytes part;
        FailingCalls timeout(SocketCall::kReceive, EAGAIN);
        timeout.After(1);  // frames that came glued are handed over at once
        ASSERT_TRUE(socket_->Receive(part));
        total += part.size();
    }
    sender.join();
    gateway.join();
    EXPECT_THAT(Callbacks(), IsEmpty());
}

}  // namespace
}  // namespace Brenk::Net
