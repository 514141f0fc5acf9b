// A gateway frame announces its own length in its first byte; what stands behind it does not matter here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"

namespace Brenk::Net {
namespace {

using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::LoopbackSocket;

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

TEST_F(ClientSocketReceiveTest, BytesThatEndNoFrameAreHandedOverWhenNothingMoreComes) {
    Connect();
    Bytes glued = Frame(19);
    glued.insert(glued.end(), {0x07, 0x5A});
    for (const Bytes& bytes : {glued, Bytes(3000, 0x77)}) {
        received_.clear();
        gateway_.Send(bytes);
        FailingCalls timeout(SocketCall::kReceive, EAGAIN);
        timeout.After(static_cast<int>(bytes.size() / 1024) + 1);  // as many bytes as are read in one call
        EXPECT_TRUE(socket_->Receive(received_));
        EXPECT_EQ(received_, bytes);
    }
}

TEST_F(ClientSocketReceiveTest, ATimeoutWithNothingCollectedIsRepeated) {
    Connect();
    gateway_.Send(Frame(19));
    const FailingCalls timeouts(SocketCall::kReceive, EAGAIN, 3);
    EXPECT_TRUE(socket_->Receive(received_));
    EXPECT_EQ(timeouts.Left(), 0);
    EXPECT_EQ(received_, Frame(19));
}

TEST_F(ClientSocketReceiveTest, AnOrderlyCloseYieldsWhatCameBeforeAndTheReceiveErrorCallbackWith0AndNoReport) {
    Connect();
    const Bytes begun = Part(Frame(19), 0, 10);
    gateway_.Send(begun);
    gateway_.ShutDownSending();
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(received_, begun);
    EXPECT_THAT(Failures(), ElementsAre("callback receive 0", kEndOfStream));
    EXPECT_EQ(SocketReports() + ConnectionReports(), 0);
    socket_->SetCallbacks(nullptr, nullptr, nullptr);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(Failures().back(), kEndOfStream);
    EXPECT_EQ(Callbacks().size(), 1U);
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
                                         ReceiveError{ECONNRESET, "Error not handled. Error code received:104"},
                                         ReceiveError{ETIMEDOUT, "Error not handled. Error code received:110"}));

TEST_F(ClientSocketReceiveTest, AReadThatFailsBecauseTheSocketWasClosedMeanwhileIsNoFailure) {
    Connect();
    gateway_.Send(Frame(1));
    FailingCalls failing(SocketCall::kReceive, EBADF);
    failing.Doing([this] { socket_->Close(); });
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketReceiveTest, ATimeoutThatCannotBeSetAndAWaitThatFailsAreReportedAsKind0WithoutACallback) {
    Connect();
    const FailingCalls noTimeout(SocketCall::kSetSockOpt, EINVAL);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_EQ(log_.Count(plog::error, "Cannot set socket option SO_RCVTIMEO"), 1);
    const FailingCalls noWait(SocketCall::kPoll, ENOMEM);
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("Cannot set socket option SO_RCVTIMEO", "report 0",
                                        "Cannot wait for the socket. Error:Cannot allocate memory", "report 0"));
}

TEST_F(ClientSocketReceiveTest, WithoutAConnectionItFailsWithALineAndWithoutReportOrCallback) {
    EXPECT_FALSE(socket_->Receive(received_));
    EXPECT_THAT(Failures(), ElementsAre("Cannot set socket option SO_RCVTIMEO"));
    EXPECT_THAT(received_, IsEmpty());
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
TEST_F(ClientSocketReceiveTest, WhoeverWaitsNeverUsesASocketThatGotTheNumberOfItsOwn) {
    for (const SocketCall call : {SocketCall::kPoll, SocketCall::kSend}) {
        Connect();
        std::vector<LoopbackSocket> newcomers;
        FailingCalls interrupted(call, EINTR);
        interrupted.Doing([&] {
            socket_->Close();
            newcomers.push_back(LoopbackSocket::Listening());
            newcomers.push_back(LoopbackSocket::ConnectedTo(newcomers.front().Port()));
            newcomers.push_back(newcomers.front().Accept());
            newcomers.at(1).Send(Frame(19));
            newcomers.at(2).Send(Frame(19));
        });
        Bytes sent = Frame(2);
        EXPECT_FALSE(call == SocketCall::kPoll ? socket_->Receive(received_) : socket_->Send(sent));
        ASSERT_EQ(newcomers.size(), 3U);
        EXPECT_THAT(received_, IsEmpty());
        EXPECT_EQ(newcomers.at(1).Receive(19), Frame(19));
        EXPECT_EQ(newcomers.at(2).Receive(19), Frame(19));
    }
    EXPECT_THAT(Callbacks(), IsEmpty());
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

}  // namespace
}  // namespace Brenk::Net
