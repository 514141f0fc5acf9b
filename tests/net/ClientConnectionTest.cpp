#include "net/ClientConnection.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Bytes = std::vector<unsigned char>;

// A client, and the connection that the server has with it.
class ClientConnectionTest : public testing::Test {
  protected:
    ClientConnectionTest()
        : connection_(std::make_unique<ClientConnection>(dup(accepted_.Descriptor()), std::uint64_t{3}, budget_)) {
        accepted_.Close();
    }

    // Drains until that gives `result`, and so until what the client has sent has arrived.
    bool DrainsTo(DrainResult result) {
        return Testing::WaitUntil([&] { return connection_->Drain(packets_) == result; });
    }

    bool DrainsPackets(std::size_t count) {
        return Testing::WaitUntil([&] {
            EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
            return packets_.size() >= count;
        });
    }

    int Arrived() const {
        int count = 0;
        EXPECT_EQ(ioctl(connection_->Descriptor(), FIONREAD, &count), 0);
        return count;
    }

    // As the log names it.
    std::string Number() const { return std::to_string(connection_->Descriptor()); }

    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket client_ = LoopbackSocket::ConnectedTo(listener_.Port());
    LoopbackSocket accepted_ = listener_.Accept();
    Testing::CapturedLog log_;
    OutputBudget budget_;
    std::unique_ptr<ClientConnection> connection_;
    std::vector<Bytes> packets_;
};

TEST_F(ClientConnectionTest, SetsTheOptionsOfAClientWhenItIsMade) {
    const SeenCalls seen;
    const ClientConnection other(dup(connection_->Descriptor()), 4, budget_);
    EXPECT_THAT(seen.All(), UnorderedElementsAre("setsockopt TCP_NODELAY 1", "setsockopt SO_KEEPALIVE 1",
                                                 "setsockopt TCP_KEEPIDLE 60", "setsockopt TCP_KEEPCNT 5",
                                                 "setsockopt TCP_KEEPINTVL 10", "setsockopt TCP_USER_TIMEOUT 110000"));
}

TEST_F(ClientConnectionTest, IsMadeEvenWhenNoOptionCanBeSet) {
    const FailingCalls failing(SocketCall::kSetSockOpt, ENOPROTOOPT, 6);
    ClientConnection other(dup(connection_->Descriptor()), 4, budget_);
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(other.Output().Send({0x41}).error, 0);
    EXPECT_EQ(client_.Receive(1), Bytes{0x41});
}

// A client that has vanished acknowledges nothing; one that does not read goes on to acknowledge that it has no room.
TEST_F(ClientConnectionTest, TheTimeoutForWhatIsUnacknowledgedRestsWhileALivingClientsWindowIsClosed) {
    LoopbackSocket slow;
    slow.UseSmallReceiveBuffer();
    slow.ConnectTo(listener_.Port());
    LoopbackSocket accepted = listener_.Accept();
    ClientConnection connection(dup(accepted.Descriptor()), 4, budget_);
    const auto userTimeout = [&] {
        connection.LookAtWindow();
        int timeout = -1;
        socklen_t size = sizeof timeout;
        EXPECT_EQ(getsockopt(connection.Descriptor(), IPPROTO_TCP, TCP_USER_TIMEOUT, &timeout, &size), 0);
        return timeout;
    };
    EXPECT_EQ(userTimeout(), 110000);
    const Bytes answer(200000, 0x41);
    ASSERT_EQ(connection.Output().Send(answer).error, 0);
    EXPECT_TRUE(Testing::WaitUntil([&] { return userTimeout() == 0; }));
    EXPECT_EQ(slow.Receive(answer.size()), answer);
    EXPECT_TRUE(Testing::WaitUntil([&] { return userTimeout() == 110000; }));
}

TEST_F(ClientConnectionTest, EachPassSetsTheReceiveTimeoutAndReads1024BytesAtMost) {
    const SeenCalls seen;
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_THAT(seen.All(), ElementsAre("setsockopt SO_RCVTIMEO 150", "recv 1024 bytes, flags 0"));
    EXPECT_THAT(packets_, IsEmpty());
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(ClientConnectionTest, PacketsAreAddedInOrderAndTheBeginOfTheNextIsKeptForTheNextPass) {
    packets_.push_back(Bytes{0xEE});
    client_.Send({0x03, 0x00, 0x41, 0x04, 0x00, 0x42, 0x43, 0x05, 0x00});
    EXPECT_TRUE(DrainsPackets(3));
    EXPECT_THAT(packets_, ElementsAre(Bytes{0xEE}, Bytes{0x03, 0x00, 0x41}, Bytes{0x04, 0x00, 0x42, 0x43}));
    client_.Send({0x41});
    EXPECT_TRUE(Testing::WaitUntil([this] { return Arrived() > 0; }));
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_THAT(packets_, SizeIs(3));
    EXPECT_TRUE(log_.Holds(plog::warning, "Received on socket " + Number() + "bytes: 1 but expected size was: 5"))
        << log_.Text();
    client_.Send({0x42, 0x43});
    EXPECT_TRUE(DrainsPackets(4));
    EXPECT_EQ(packets_.back(), (Bytes{0x05, 0x00, 0x41, 0x42, 0x43}));
}

TEST_F(ClientConnectionTest, APeerThatClosesHasSentItsWholePacketsAndItsUnfinishedOneIsDropped) {
    client_.Send({0x03, 0x00, 0x41, 0x05, 0x00, 0x41});
    client_.ShutDownSending();
    EXPECT_TRUE(DrainsTo(DrainResult::kClosedByPeer));
    EXPECT_THAT(packets_, ElementsAre(Bytes{0x03, 0x00, 0x41}));
}

TEST_F(ClientConnectionTest, AFailedReceiveIsLoggedUnlessItIsToBeRepeatedAndTheClientStays) {
    for (const int error : {EINTR, EAGAIN}) {
        const FailingCalls failing(SocketCall::kReceive, error);
        EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
        EXPECT_EQ(failing.Left(), 0);
        EXPECT_THAT(log_.Lines(), IsEmpty());
    }
    const FailingCalls failing(SocketCall::kReceive, ECONNRESET);
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_EQ(log_.Count(plog::error, "Error on select for socket " + Number() +
                                          ". Error code: 104, Error: Connection reset by peer"),
              1)
        << log_.Text();
}

TEST_F(ClientConnectionTest, MoreThan131072BytesThatCannotBecomeAPacketAreHopeless) {
    std::thread sender([this] { client_.Send(Bytes(131073, 0x00)); });
    EXPECT_TRUE(DrainsTo(DrainResult::kUnrecoverable));
    sender.join();
    EXPECT_THAT(packets_, IsEmpty());
    EXPECT_EQ(log_.Count(plog::warning,
                         "The bytes received on socket " + Number() + " can never become a packet. It will be closed."),
              1);
}

TEST_F(ClientConnectionTest, OnePassTakes65536BytesAndLeavesTheRestToTheNext) {
    const int room = 1024 * 1024;
    ASSERT_EQ(setsockopt(connection_->Descriptor(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room), 0);
    Bytes packet(1000, 0x41);
    packet.at(0) = 0xE8;
    packet.at(1) = 0x03;
    for (int sent = 0; sent < 70; ++sent) {
        client_.Send(packet);
    }
    ASSERT_TRUE(Testing::WaitUntil([this] { return Arrived() == 70000; }));
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_EQ(Arrived(), 70000 - 65536);
    EXPECT_THAT(packets_, SizeIs(65));
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_THAT(packets_, SizeIs(70));
    EXPECT_THAT(packets_, testing::Each(packet));
}

TEST_F(ClientConnectionTest, AReceiveTimeoutThatCannotBeSetIsLoggedAndWhatArrivedIsTaken) {
    client_.Send({0x03, 0x00, 0x41});
    ASSERT_TRUE(Testing::WaitUntil([this] { return Arrived() == 3; }));
    FailingCalls failing(SocketCall::kSetSockOpt, EINVAL);
    failing.ForOption(SO_RCVTIMEO);
    EXPECT_EQ(connection_->Drain(packets_), DrainResult::kStays);
    EXPECT_EQ(log_.Count(plog::error, "Error set RECV_TIMEOUT for socket " + Number()), 1) << log_.Text();
    EXPECT_THAT(packets_, SizeIs(1));
}

}  // namespace
}  // namespace Brenk::Net
