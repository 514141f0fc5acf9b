#include "gateway/Connection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
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

TEST_F(ConnectionTest, BeginsInCreatedWithoutASocket) {
    EXPECT_EQ(connection_.Status(), CREATED);
    Bytes bytes = {1};
    EXPECT_FALSE(connection_.Send(bytes));
    EXPECT_FALSE(connection_.Receive(bytes));
    EXPECT_FALSE(connection_.HasPendingError());
    EXPECT_FALSE(connection_.IsSendOutdated());
    EXPECT_FALSE(connection_.IsReceiveOutdated());
    connection_.CloseSocket();
    EXPECT_FALSE(fake_.HasNewConnection());
}

TEST_F(ConnectionTest, DoesNotConnectInConnectedButInReadyAndFaultedAndTellsEachStatusThatIsSet) {
    ConnectTo(CONNECTED);
    EXPECT_FALSE(connection_.Connect(READY));
    EXPECT_FALSE(fake_.HasNewConnection());
    for (const VirtualGatewayStatuses status : {READY, FAULTED}) {
        connection_.ChangeStatus(status);
        ConnectTo(READY);
    }
    EXPECT_EQ(
        steps_,
        StatusSteps({{CREATED, CONNECTED}, {CONNECTED, READY}, {READY, READY}, {READY, FAULTED}, {FAULTED, READY}}));
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

TEST_F(ConnectionTest, ASendOrReceiveIsOutdatedFromTheReconnectUntilItsEnd) {
    std::vector<bool> isOutdated;
    onSendError_ = [&] {
        isOutdated.push_back(connection_.IsSendOutdated());
        Reconnect();
        isOutdated.push_back(connection_.IsSendOutdated());
        isOutdated.push_back(connection_.IsReceiveOutdated());
    };
    onReceiveError_ = [&] {
        isOutdated.push_back(connection_.IsReceiveOutdated());
        Reconnect();
        isOutdated.push_back(connection_.IsReceiveOutdated());
        isOutdated.push_back(connection_.IsSendOutdated());
    };
    Bytes bytes = {1};
    ConnectTo(READY).Reset();
    EXPECT_TRUE(WaitUntil([&] { return !connection_.Send(bytes); }));
    EXPECT_EQ(isOutdated, std::vector<bool>({false, true, false}));
    EXPECT_FALSE(connection_.IsSendOutdated());
    isOutdated.clear();
    fake_.Accept().Close();
    EXPECT_FALSE(connection_.Receive(bytes));
    EXPECT_EQ(isOutdated, std::vector<bool>({false, true, false}));
    EXPECT_FALSE(connection_.IsReceiveOutdated());
}

}  // namespace
}  // namespace Testing
