#include "gateway/Connection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <utility>
#include <vector>

#include "messages/Exceptions.h"
#include "tests/support/FakeGateway.h"
#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::Connection;
using Brenk::CREATED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::NOT_PRESENT;
using Brenk::READY;
using Brenk::VirtualGatewayStatuses;

using StatusSteps = std::vector<std::pair<VirtualGatewayStatuses, VirtualGatewayStatuses>>;

constexpr Connection::SocketErrors kNoErrorCallbacks = {nullptr, nullptr, nullptr};

// The test is the connection's owner and hears of the errors of its sockets.
class ConnectionTest : public ::testing::Test {
  protected:
    ConnectionTest() {
        fake_.Listen();
        Brenk::GatewayOwner owner;
        owner.context = this;
        owner.stateChanged = StateChanged;
        owner_.Set(owner);
    }

    // Connects, and takes the connection on the fake's side.
    FakeConnection ConnectTo(VirtualGatewayStatuses status) {
        EXPECT_TRUE(connection_.Connect(status));
        return fake_.Accept();
    }

    static void StateChanged(Brenk::VirtualGateway*, VirtualGatewayStatuses oldStatus, VirtualGatewayStatuses newStatus,
                             void* context) {
        auto* const test = static_cast<ConnectionTest*>(context);
        test->steps_.emplace_back(oldStatus, newStatus);
        if (test->onStateChanged_) {
            test->onStateChanged_(newStatus);
        }
    }

    static void SendFailed(int, void* context) { static_cast<ConnectionTest*>(context)->onSendError_(); }
    static void ReceiveFailed(int, void* context) { static_cast<ConnectionTest*>(context)->onReceiveError_(); }

    void Reconnect() {
        EXPECT_TRUE(connection_.Disconnect());
        EXPECT_TRUE(connection_.Connect(READY));
    }

    FakeGateway fake_;
    StatusSteps steps_;
    std::function<void(VirtualGatewayStatuses)> onStateChanged_;
    std::function<void()> onSendError_ = [] {};
    std::function<void()> onReceiveError_ = [] {};
    Brenk::OwnerLink owner_{nullptr};
    Connection connection_{"127.0.0.1", fake_.Port(), {SendFailed, ReceiveFailed, this}, owner_};
};

TEST(ConnectionConstruction, AnEmptyAddressOrPort0Throws) {
    const Brenk::OwnerLink owner(nullptr);
    std::unique_ptr<Brenk::NullObjectException> noAddress;
    try {
        const Connection connection("", 0, kNoErrorCallbacks, owner);
    } catch (Brenk::NullObjectException* thrown) {
        noAddress.reset(thrown);
    }
    EXPECT_NE(noAddress, nullptr);
    std::unique_ptr<Brenk::InvalidArgumentException> noPort;
    try {
        const Connection connection("127.0.0.1", 0, kNoErrorCallbacks, owner);
    } catch (Brenk::InvalidArgumentException* thrown) {
        noPort.reset(thrown);
    }
    EXPECT_NE(noPort, nullptr);
}

TEST_F(ConnectionTest, BeginsInCreatedWithoutASocket) {
    EXPECT_EQ(connection_.Status(), CREATED);
    EXPECT_EQ(connection_.IpAddress(), "127.0.0.1");
    EXPECT_EQ(connection_.Port(), fake_.Port());
    Bytes bytes = {1};
    EXPECT_FALSE(connection_.Send(bytes));
    EXPECT_FALSE(connection_.Receive(bytes));
    EXPECT_FALSE(connection_.HasPendingError());
    EXPECT_FALSE(connection_.IsSendOutdated());
    EXPECT_FALSE(connection_.IsReceiveOutdated());
    connection_.CloseSocket();
    EXPECT_FALSE(fake_.HasNewConnection());
}

TEST_F(ConnectionTest, ConnectsToTheStatusThatIsAskedForAndTellsTheOwnerOnce) {
    ConnectTo(CONNECTED);
    EXPECT_EQ(steps_, StatusSteps({{CREATED, CONNECTED}}));
    EXPECT_TRUE(connection_.Disconnect());
    ConnectTo(READY);
    EXPECT_EQ(steps_, StatusSteps({{CREATED, CONNECTED}, {CONNECTED, DISCONNECTED}, {DISCONNECTED, READY}}));
}

TEST_F(ConnectionTest, DoesNotConnectInConnectedButInReadyAndFaulted) {
    ConnectTo(CONNECTED);
    EXPECT_FALSE(connection_.Connect(READY));
    EXPECT_FALSE(fake_.HasNewConnection());
    for (const VirtualGatewayStatuses status : {READY, FAULTED}) {
        connection_.ChangeStatus(status);
        ConnectTo(READY);
    }
}

TEST_F(ConnectionTest, The20thFailureEverGivesTheGatewayUpAndOnlyThatIsTold) {
    fake_.Refuse();
    for (int failures = 0; failures < 10; ++failures) {
        EXPECT_FALSE(connection_.Connect(READY));
    }
    EXPECT_EQ(steps_, StatusSteps());
    fake_.Listen();
    ConnectTo(READY);
    EXPECT_TRUE(connection_.Disconnect());
    fake_.Refuse();
    for (int failures = 10; failures < 19; ++failures) {
        EXPECT_FALSE(connection_.Connect(READY));
    }
    EXPECT_EQ(connection_.Status(), DISCONNECTED);
    EXPECT_FALSE(connection_.Connect(READY));
    EXPECT_EQ(steps_, StatusSteps({{CREATED, READY}, {READY, DISCONNECTED}, {DISCONNECTED, NOT_PRESENT}}));
    fake_.Listen();
    EXPECT_FALSE(connection_.Connect(READY));
    EXPECT_FALSE(fake_.HasNewConnection());
}

TEST_F(ConnectionTest, DisconnectsInConnectedReadyAndFaultedAlone) {
    for (const VirtualGatewayStatuses status : {CREATED, DISCONNECTED, NOT_PRESENT}) {
        connection_.ChangeStatus(status);
        steps_.clear();
        EXPECT_FALSE(connection_.Disconnect()) << status;
        EXPECT_TRUE(steps_.empty()) << status;
    }
    for (const VirtualGatewayStatuses status : {CONNECTED, READY, FAULTED}) {
        connection_.ChangeStatus(DISCONNECTED);
        FakeConnection connected = ConnectTo(READY);
        connection_.ChangeStatus(status);
        steps_.clear();
        EXPECT_TRUE(connection_.Disconnect()) << status;
        EXPECT_EQ(steps_, StatusSteps({{status, DISCONNECTED}}));
        EXPECT_TRUE(connected.Receive(1, kDeadline).empty());
        Bytes bytes = {1};
        EXPECT_FALSE(connection_.Send(bytes));
    }
}

TEST_F(ConnectionTest, ClosingTheSocketChangesNothingElse) {
    FakeConnection connected = ConnectTo(READY);
    connection_.CloseSocket();
    EXPECT_TRUE(connected.Receive(1, kDeadline).empty());
    EXPECT_EQ(connection_.Status(), READY);
    EXPECT_EQ(steps_.size(), 1U);
}

TEST_F(ConnectionTest, CarriesBytesBothWays) {
    FakeConnection connected = ConnectTo(READY);
    Bytes sent = {1, 2, 3};
    EXPECT_TRUE(connection_.Send(sent));
    EXPECT_EQ(connected.Receive(3, kDeadline), sent);
    connected.Send(EventFrame(14, {0x01}));
    Bytes received;
    EXPECT_TRUE(connection_.Receive(received));
    EXPECT_EQ(received, EventFrame(14, {0x01}));
}

TEST_F(ConnectionTest, IsInTellsWhetherTheStatusIsOneOfThose) {
    EXPECT_TRUE(connection_.IsIn({READY, CREATED}));
    EXPECT_FALSE(connection_.IsIn({READY, FAULTED}));
    EXPECT_FALSE(connection_.IsIn({}));
}

TEST_F(ConnectionTest, AStatusIsToldEachTimeItIsSet) {
    connection_.ChangeStatus(FAULTED);
    connection_.ChangeStatus(FAULTED);
    EXPECT_EQ(steps_, StatusSteps({{CREATED, FAULTED}, {FAULTED, FAULTED}}));
}

TEST_F(ConnectionTest, TheOwnerMayReconnectInsideTheCallWhileNobodyElseCan) {
    bool isFreeForAnother = true;
    onStateChanged_ = [&](VirtualGatewayStatuses status) {
        if (status == FAULTED) {
            isFreeForAnother = std::async(std::launch::async, [&] { return connection_.TryHold().owns_lock(); }).get();
            Reconnect();
        }
    };
    ConnectTo(READY);
    connection_.ChangeStatus(FAULTED);
    EXPECT_FALSE(isFreeForAnother);
    EXPECT_EQ(steps_,
              StatusSteps({{CREATED, READY}, {READY, FAULTED}, {FAULTED, DISCONNECTED}, {DISCONNECTED, READY}}));
    EXPECT_TRUE(fake_.HasNewConnection());
}

TEST_F(ConnectionTest, WhoHoldsItMayChangeItAndAnotherThreadWaits) {
    std::future<void> other;
    {
        const Connection::Lock held = connection_.Hold();
        EXPECT_TRUE(connection_.TryHold().owns_lock());
        EXPECT_FALSE(std::async(std::launch::async, [&] { return connection_.TryHold().owns_lock(); }).get());
        other = std::async(std::launch::async, [&] { connection_.ChangeStatus(FAULTED); });
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        connection_.ChangeStatus(READY);
    }
    other.get();
    EXPECT_EQ(steps_, StatusSteps({{CREATED, READY}, {READY, FAULTED}}));
}

TEST_F(ConnectionTest, AReceiveIsOutdatedFromTheReconnectUntilItsEnd) {
    std::vector<bool> isOutdated;
    onReceiveError_ = [&] {
        isOutdated.push_back(connection_.IsReceiveOutdated());
        Reconnect();
        isOutdated.push_back(connection_.IsReceiveOutdated());
        isOutdated.push_back(connection_.IsSendOutdated());
    };
    ConnectTo(READY).Close();
    Bytes received;
    EXPECT_FALSE(connection_.Receive(received));
    EXPECT_EQ(isOutdated, std::vector<bool>({false, true, false}));
    EXPECT_FALSE(connection_.IsReceiveOutdated());
}

TEST_F(ConnectionTest, ASendIsOutdatedFromTheReconnectUntilItsEnd) {
    std::vector<bool> isOutdated;
    onSendError_ = [&] {
        isOutdated.push_back(connection_.IsSendOutdated());
        Reconnect();
        isOutdated.push_back(connection_.IsSendOutdated());
        isOutdated.push_back(connection_.IsReceiveOutdated());
    };
    ConnectTo(READY).Reset();
    Bytes bytes = {1};
    EXPECT_TRUE(WaitUntil([&] { return !connection_.Send(bytes); }));
    EXPECT_EQ(isOutdated, std::vector<bool>({false, true, false}));
    EXPECT_FALSE(connection_.IsSendOutdated());
}

TEST_F(ConnectionTest, TheErrorOfAResetSocketIsPending) {
    FakeConnection connected = ConnectTo(READY);
    EXPECT_FALSE(connection_.HasPendingError());
    connected.Reset();
    EXPECT_TRUE(WaitUntil([&] { return connection_.HasPendingError(); }));
}

}  // namespace
}  // namespace Testing
