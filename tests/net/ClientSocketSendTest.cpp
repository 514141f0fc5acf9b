#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Log.h>

#include <cerrno>

#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"
#include "tests/support/LoggedLine.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Logged;

class ClientSocketSendTest : public Testing::GatewayConnection {
  protected:
    using GatewayConnection::GatewayConnection;

    Bytes frame_ = {0x01, 0x02, 0xFF};
};

TEST_F(ClientSocketSendTest, LogsTheBytesThenSendsThemInOneCallWithoutFlagsAndLogsTheResult) {
    Connect();
    const std::size_t before = log_.Lines().size();
    const SeenCalls seen;
    EXPECT_TRUE(socket_->Send(frame_));
    EXPECT_THAT(seen.All(), ElementsAre("send 3 bytes, flags 0"));
    EXPECT_EQ(gateway_.Receive(3), frame_);
    const FailingCalls failing(SocketCall::kSend, EPIPE);
    EXPECT_FALSE(socket_->Send(frame_));
    const auto sending = Logged(plog::debug, "Sending3 bytes of data. Bytes array:01 02 FF");
    EXPECT_THAT(
        log_.LinesBehind(before),
        ElementsAre(sending, Logged(plog::debug, "Send result:3"), sending, Logged(plog::debug, "Send result:-1"),
                    Logged(plog::error, "Socket send failed. Error:Broken pipe"),
                    Logged(plog::error, GatewayLine("Broken pipe")), Logged(plog::warning, "callback send 32"),
                    Logged(plog::warning, "report 1")));
    EXPECT_EQ(ConnectionReports(), 1);
    EXPECT_EQ(SocketReports(), 0);
}

TEST_F(ClientSocketSendTest, AnEmptyVectorIsSentAsNothing) {
    Connect();
    Bytes nothing;
    EXPECT_TRUE(socket_->Send(nothing));
    EXPECT_EQ(log_.Count(plog::debug, "Send result:0"), 1);
}

TEST_F(ClientSocketSendTest, WithoutAConnectionAndWithoutACallbackAFailureIsOnlyLogged) {
    EXPECT_FALSE(socket_->Send(frame_));
    EXPECT_EQ(log_.Count(plog::debug, "Send result:-1"), 1);
    Connect();
    {
        FailingCalls failing(SocketCall::kSend, EPIPE);
        failing.Doing([this] { socket_->Close(); });
        EXPECT_FALSE(socket_->Send(frame_)) << "it was closed meanwhile";
    }
    EXPECT_FALSE(socket_->Send(frame_));
    EXPECT_THAT(Failures(), ElementsAre("Socket send failed. Error:Transport endpoint is not connected",
                                        "Socket send failed. Error:Broken pipe",
                                        "Socket send failed. Error:Transport endpoint is not connected"));
    Connect();
    socket_->SetCallbacks(nullptr, nullptr, nullptr);
    const FailingCalls failing(SocketCall::kSend, EPIPE);
    EXPECT_FALSE(socket_->Send(frame_));
    EXPECT_EQ(Failures().size(), 6U);
    EXPECT_EQ(Failures().back(), "report 1");
}

TEST_F(ClientSocketSendTest, AGatewayThatHasResetTheConnectionFailsTheSendAndKillsNobody) {
    Connect();
    gateway_.Reset();
    ASSERT_TRUE(Testing::WaitUntil([this] { return !socket_->Send(frame_); }));
    ASSERT_EQ(Callbacks().size(), 1U);
    EXPECT_THAT(Callbacks().front(),
                testing::AnyOf("send " + std::to_string(ECONNRESET), "send " + std::to_string(EPIPE)));
}

TEST_F(ClientSocketSendTest, AnInterruptedSendIsRepeated) {
    Connect();
    const FailingCalls failing(SocketCall::kSend, EINTR, 3);
    EXPECT_TRUE(socket_->Send(frame_));
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(gateway_.Receive(3), frame_);
    EXPECT_THAT(Failures(), IsEmpty());
}

class SlowGatewayTest : public ClientSocketSendTest {
  protected:
    SlowGatewayTest() : ClientSocketSendTest(milliseconds(200)) {
        plog::get()->setMaxSeverity(plog::info);  // the debug lines hold all the bytes
    }

    Bytes huge_ = Bytes(16UL * 1024 * 1024, 0xAA);
};

TEST_F(SlowGatewayTest, APartialSendIsASuccessAndIsNeitherCompletedNorRepeated) {
    Connect();
    EXPECT_TRUE(socket_->Send(huge_));
    EXPECT_THAT(Failures(), IsEmpty());
    socket_->Close();
    EXPECT_LT(gateway_.Receive(huge_.size()).size(), huge_.size());
}

TEST_F(SlowGatewayTest, AGatewayThatDoesNotReadFailsTheSendAfterTheConnectionTimeout) {
    listener_.UseSmallReceiveBuffer();
    Connect();
    EXPECT_TRUE(Testing::WaitUntil([&] { return !socket_->Send(huge_); }, seconds(60)));
    EXPECT_THAT(Failures(), ElementsAre("Socket send failed. Error:Resource temporarily unavailable",
                                        GatewayLine("Connection timed out"), "callback send " + std::to_string(EAGAIN),
                                        "report 1"));
}

// An owner whose callback drops the socket while the call that failed is still on the stack.
void DropSocket(int, void* context) {
    auto& owned = *static_cast<std::shared_ptr<ClientSocket>*>(context);
    owned->Close();
    owned.reset();
}

TEST_F(ClientSocketSendTest, EitherCallbackMayCloseAndDropTheSocket) {
    for (const bool isReceiving : {false, true}) {
        auto owned = std::make_shared<ClientSocket>("127.0.0.1", listener_.Port(), seconds(15));
        owned->SetCallbacks(DropSocket, DropSocket, &owned);
        ASSERT_TRUE(owned->Connect());
        gateway_ = listener_.Accept();
        gateway_.ShutDownSending();
        const std::weak_ptr<ClientSocket> alive = owned;
        const FailingCalls failing(SocketCall::kSend, EPIPE);
        {
            const std::shared_ptr<ClientSocket> caller = alive.lock();
            Bytes received;
            EXPECT_FALSE(isReceiving ? caller->Receive(received) : caller->Send(frame_));
            EXPECT_EQ(owned, nullptr);
        }
        EXPECT_TRUE(alive.expired());
        EXPECT_TRUE(gateway_.WaitForEnd());
    }
}

}  // namespace
}  // namespace Brenk::Net
