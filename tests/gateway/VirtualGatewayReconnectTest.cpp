#include <gtest/gtest.h>

#include <atomic>
#include <utility>
#include <vector>

#include "diagnostics/ErrorGuard.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ThreadFaults.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Diagnostics::ErrorGuard;

constexpr const char* kGracefulText =
    "Connection gracefully closed. The VGs will reconnect. Error description: Success";

const StateSteps kOneReconnectAfterAnError = {
    {CREATED, READY}, {READY, FAULTED}, {FAULTED, DISCONNECTED}, {DISCONNECTED, READY}};

class ReconnectTest : public GatewayTest {
  protected:
    // Fails unless requests and events go through the connection.
    void ExpectWorking(FakeConnection& connection) {
        connection.Send(EventFrame(14, {0x01}));
        EXPECT_TRUE(owner_.WaitForEvents(1));
        ASSERT_TRUE(gateway_->GetNodeStatus("afterwards", 5, Context(1)));
        EXPECT_EQ(DeviceAddressOf(connection.ReceiveLockFrame()), 5U);
    }
};

TEST_F(ReconnectTest, AnOrderlyCloseEndsInReadyThroughDisconnectedWithTwoCallbacksAndOneNewConnection) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    const std::uint32_t reports = ErrorGuard::Instance().FirstCounter() + ErrorGuard::Instance().SecondCounter();
    connection_.Close();
    FakeConnection second = fake_.Accept();
    ASSERT_TRUE(owner_.WaitForStateChanges(3));
    ExpectWorking(second);
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, DISCONNECTED}, {DISCONNECTED, READY}}));
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_EQ(log_.Count(plog::warning, kGracefulText), 1);
    EXPECT_EQ(ErrorGuard::Instance().FirstCounter() + ErrorGuard::Instance().SecondCounter(), reports);
    EXPECT_EQ(owner_.StateChanges().back().thread, owner_.Events().at(0).thread);
}

// The Mux's gateways thread looks at every gateway each millisecond and connects those that are not.
TEST_F(ReconnectTest, EachOrderlyCloseLeadsToOneNewConnectionThoughAnotherThreadPollsAndConnectsToo) {
    owner_.onStateChanged = [](const StateChange& change) { PauseAfterUnlocks(change.to == DISCONNECTED); };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    std::atomic<bool> stopped{false};
    std::thread poller([&] {
        const auto isConnected = [&] { return gateway_->Status() == CONNECTED || gateway_->Status() == READY; };
        while (!stopped) {
            if (!isConnected()) {
                const auto connection = gateway_->TryLockConnection();
                if (connection.owns_lock() && !isConnected()) {
                    gateway_->Connect(false);
                }
            }
        }
    });
    StateSteps expected = {{CREATED, READY}};
    for (int round = 0; round < 5; ++round) {
        connection_.Close();
        connection_ = fake_.Accept();
        expected.insert(expected.end(), {{READY, DISCONNECTED}, {DISCONNECTED, READY}});
    }
    connection_.Send(EventFrame(14, {0x01}));
    EXPECT_TRUE(owner_.WaitForEvents(1));
    EXPECT_EQ(owner_.Steps(), expected);
    EXPECT_FALSE(fake_.HasNewConnection());
    stopped = true;
    poller.join();
}

TEST_F(ReconnectTest, AResetConnectionIsAReceiveErrorAndReconnectsInsideTheStateCallbackOnTheSameThread) {
    ReconnectWhenFaulted();
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Reset();
    FakeConnection second = fake_.Accept();
    ASSERT_TRUE(owner_.WaitForStateChanges(4));
    ExpectWorking(second);
    EXPECT_EQ(owner_.Steps(), kOneReconnectAfterAnError);
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_EQ(log_.Count(plog::error, "Socket faulted. Receive error. Error description: Connection reset by peer"), 1);
    for (std::size_t index = 1; index < 4; ++index) {
        EXPECT_EQ(owner_.StateChanges().at(index).thread, owner_.Events().at(0).thread);
    }
}

// The read thread is held while it manages a frame, so that the send thread meets the reset connection.
TEST_F(ReconnectTest, ASendErrorReconnectsInsideTheStateCallbackAndTheRequestKeepsWaiting) {
    ReconnectWhenFaulted();
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate reading("Managing new message");
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(reading.WaitForArrival());
    connection_.Reset();
    const std::uint32_t counter = builder_->SequenceCounter();
    const std::uint8_t referenceID = builder_->ReferenceID();
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    FakeConnection second = fake_.Accept();
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() == referenceID + 1; }));
    EXPECT_EQ(builder_->SequenceCounter(), counter + 1);
    EXPECT_EQ(owner_.Steps(), kOneReconnectAfterAnError);
    EXPECT_TRUE(owner_.StateChanges().at(1).underLock) << "the sender sends under its guard";
    EXPECT_EQ(log_.Count(plog::error, "Socket faulted. Send error. Error description: Connection reset by peer"), 1)
        << log_.Text();
    EXPECT_EQ(log_.Count(plog::error,
                         "Error sending enqueued message request-1 to current Virtual Gateway. Message removed from "
                         "queue"),
              1);
    reading.Open();
    second.Send(ResultFrame(referenceID, 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
    EXPECT_FALSE(fake_.HasNewConnection());
}

// Both threads meet the end of one connection; whoever is second must not fault the connection made by the first.
TEST_F(ReconnectTest, AReceiveErrorOfAConnectionThatTheSendThreadHasReplacedChangesNothing) {
    ReconnectWhenFaulted();
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate reading("Error not handled. Error code received:104");
    connection_.Reset();
    ASSERT_TRUE(reading.WaitForArrival());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    FakeConnection second = fake_.Accept();
    ASSERT_TRUE(owner_.WaitForStateChanges(4));
    reading.Open();
    ExpectWorking(second);
    EXPECT_EQ(owner_.Steps(), kOneReconnectAfterAnError);
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_FALSE(log_.Holds(plog::error, "Receive error."));
}

// The sender is past its look at whether its socket was shut down, as its own line shows, when the reader reconnects.
TEST_F(ReconnectTest, ASendErrorThatWaitsForTheReadThreadsReconnectDoesNotFaultTheNewConnection) {
    LogGate sending("Sending binary serialized message with ID request-1 to gateway socket send.");
    owner_.onStateChanged = [&](const StateChange& change) {
        if (change.to != FAULTED) {
            return;
        }
        sending.Open();
        EXPECT_TRUE(log_.WaitFor(plog::error, std::to_string(fake_.Port()) + ": Broken pipe"));
        change.gateway->Disconnect();
        change.gateway->Connect(false);
    };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(sending.WaitForArrival());
    connection_.Reset();
    FakeConnection second = fake_.Accept();
    ASSERT_TRUE(log_.WaitFor(plog::error, "Error sending enqueued message request-1"));
    EXPECT_EQ(log_.Count(plog::error, "Socket send failed. Error:Broken pipe"), 1) << log_.Text();
    ExpectWorking(second);
    EXPECT_EQ(owner_.Steps(), kOneReconnectAfterAnError);
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_FALSE(log_.Holds(plog::error, "Socket faulted. Send error."));
}

TEST_F(ReconnectTest, AConnectionThatEndsDuringItsMakingIsReconnectedWithARefreshByTheReadThread) {
    LogGate closed("Received 0 bytes as read result");
    LogGate reconnecting("Socket in error. Try a reconnect.");
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Close();
    ASSERT_TRUE(closed.WaitForArrival());
    fake_.Accept().Reset();
    closed.Open();
    ASSERT_TRUE(reconnecting.WaitForArrival());
    EXPECT_FALSE(gateway_->TryLockConnection().owns_lock()) << "another thread could replace the connection now";
    reconnecting.Open();
    FakeConnection third = fake_.Accept();
    ASSERT_TRUE(owner_.WaitForStateChanges(5));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY},
                                          {READY, DISCONNECTED},
                                          {DISCONNECTED, READY},
                                          {READY, DISCONNECTED},
                                          {DISCONNECTED, CONNECTED}}));
    EXPECT_EQ(log_.Count(plog::debug, "[VirtualGateway::readThreadProc] Socket in error. Try a reconnect."), 1);
    const Bytes frame = third.ReceiveFrame();
    EXPECT_EQ(DeviceAddressOf(frame), kRefreshAddress);
    third.Send(ResultFrame(ReferenceIDOf(frame), 7, 99));
    EXPECT_TRUE(WaitUntil([&] { return gateway_->Status() == READY; }));
}

TEST_F(ReconnectTest, TheOwnerHearsOfAnErrorInAnyStatusWhenItHasItsLineAndTheStatusIsSet) {
    std::vector<std::pair<int, Brenk::VirtualGatewayStatuses>> inCallback;
    owner_.onStateChanged = [&](const StateChange& change) {
        const int lines = log_.Count(plog::error, "Socket faulted. Send error. Error description: Broken pipe") +
                          log_.Count(plog::error, "Socket faulted. Receive error. Error description: Broken pipe") +
                          log_.Count(plog::warning, kGracefulText);
        inCallback.emplace_back(lines, change.gateway->Status());
    };
    VirtualGateway::SocketSendError(EPIPE, nullptr);
    VirtualGateway::SocketRecvError(0, nullptr);
    EXPECT_FALSE(log_.Holds(plog::error, "") || log_.Holds(plog::warning, ""));
    VirtualGateway::SocketRecvError(0, gateway_.get());  // it was never connected
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    VirtualGateway::SocketRecvError(EPIPE, gateway_.get());
    VirtualGateway::SocketRecvError(0, gateway_.get());
    const std::vector<std::pair<int, Brenk::VirtualGatewayStatuses>> expected = {
        {1, READY}, {2, FAULTED}, {3, FAULTED}, {4, DISCONNECTED}, {4, READY}};
    EXPECT_EQ(inCallback, expected);
}

// What was received is handled first, and the error is left to the receive that meets it.
TEST_F(ReconnectTest, AnErrorThatComesAfterAReceiveIsNoReasonToReconnectBeforeTheNextReceive) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    LogGate managing("Managing new message");
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(managing.WaitForArrival());
    connection_.Reset();
    managing.Open();
    ASSERT_TRUE(owner_.WaitForStateChanges(2));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, FAULTED}}));
    EXPECT_EQ(log_.Count(plog::error, "Socket faulted. Receive error. Error description: Connection reset by peer"), 1);
    EXPECT_FALSE(log_.Holds(plog::debug, "Socket in error. Try a reconnect."));
}

TEST_F(ReconnectTest, BytesThatArriveInFaultedAreNotRead) {
    // Faulted from the moment of its connection, so that the read thread is not yet receiving.
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == READY) {
            VirtualGateway::SocketSendError(EPIPE, change.gateway);
        }
    };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    connection_.Send(EventFrame(14, {0x01}));
    EXPECT_FALSE(WaitUntil([&] { return !owner_.Events().empty(); }, kQuietTime));
}

TEST_F(ReconnectTest, AnExceptionThrownAsAPointerInAStateCallbackOnTheReadThreadIsFreedAndTheLoopGoesOn) {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == FAULTED) {
            throw new Brenk::NullObjectException;
        }
    };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    const std::uint32_t reports = ErrorGuard::Instance().FirstCounter();
    connection_.Reset();
    ASSERT_TRUE(
        log_.WaitFor(plog::error, "Exception in the read loop of virtual gateway with ID 12: Null or empty object"));
    EXPECT_EQ(ErrorGuard::Instance().FirstCounter(), reports + 1);
    EXPECT_EQ(gateway_->Status(), FAULTED);
    EXPECT_TRUE(gateway_->Disconnect());
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    connection_.Send(EventFrame(14, {0x01}));
    EXPECT_TRUE(owner_.WaitForEvents(1));
}

// The socket that a thread is held in is closed and forgotten meanwhile.
TEST_F(ReconnectTest, AReaderGoesOnInItsOwnSocketAndReceivesNothing) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    LogGate receiving("Received data but more than one data chunk must be handled.");
    connection_.Send(CutTo(EventFrame(14, {0xAB}), 10));
    ASSERT_TRUE(receiving.WaitForArrival());
    ASSERT_TRUE(gateway_->Disconnect());
    receiving.Open();
    EXPECT_FALSE(WaitUntil([&] { return !owner_.Events().empty(); }, kQuietTime));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, DISCONNECTED}}));
}

TEST_F(ReconnectTest, ASenderGoesOnInItsOwnSocketAndSendsNothing) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate sending("Sending19 bytes of data.");
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(sending.WaitForArrival());
    ASSERT_TRUE(gateway_->Disconnect());
    sending.Open();
    ASSERT_TRUE(log_.WaitFor(plog::error, "Error sending enqueued message request-1"));
    EXPECT_EQ(gateway_->Status(), DISCONNECTED);
}

}  // namespace
}  // namespace Testing
