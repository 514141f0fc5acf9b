#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/support/ThreadCreationFails.h"

namespace Testing {
namespace {

TEST(VirtualGatewayConstruction, AnEmptyAddressOrPort0Throws) {
    EXPECT_TRUE(ThrowsNew<Brenk::NullObjectException>([] { const VirtualGateway gateway(""); }));
    EXPECT_TRUE(ThrowsNew<Brenk::NullObjectException>([] { const VirtualGateway gateway("", 0U); }));
    EXPECT_TRUE(ThrowsNew<Brenk::InvalidArgumentException>([] { const VirtualGateway gateway("127.0.0.1", 0U); }));
}

TEST(VirtualGatewayConstruction, WithoutAPortItConnectsTo2101) {
    FakeGateway fake(2101);
    fake.Listen();
    VirtualGateway gateway("127.0.0.1");
    EXPECT_EQ(gateway.Port(), 2101U);
    EXPECT_TRUE(gateway.Connect(false));
    fake.Accept();
}

TEST(VirtualGatewayConstruction, MakesBothMutexesAndBothThreadsAndDestroysTheMutexesInReverse) {
    const CapturedLog log;
    {
        const VirtualGateway gateway("127.0.0.1", 2101);
        EXPECT_EQ(gateway.Status(), CREATED);
        EXPECT_FALSE(gateway.IsSequenceCounterKnown());
        EXPECT_EQ(gateway.LastSendTime(), 0);
        EXPECT_TRUE(log.WaitFor(plog::verbose, "Send thread spawned."));
        EXPECT_TRUE(log.WaitFor(plog::debug, "Read thread spawned."));
        EXPECT_EQ(log.Count(plog::verbose, "Send thread spawned."), 1);
        EXPECT_EQ(log.Count(plog::debug, "Read thread spawned."), 1);
        EXPECT_EQ(log.Count(plog::info, "Mutex initialized in .ctor"), 2);
    }
    EXPECT_EQ(log.Count(plog::verbose, "Virtual gateway destructor called."), 1);
    EXPECT_EQ(log.Count(plog::debug, "Closing send thread."), 1);
    EXPECT_EQ(log.Count(plog::debug, "Closing read thread."), 1);
    const std::string text = log.Text();
    EXPECT_LT(text.find("Mutex waitingMessagesMutex created."), text.find("Mutex queueMutex created."));
    EXPECT_LT(text.find("Mutex queueMutex destroyed."), text.find("Mutex waitingMessagesMutex destroyed."));
    EXPECT_NE(text.find("Mutex waitingMessagesMutex destroyed."), std::string::npos);
}

TEST(VirtualGatewayConstruction, AThreadThatCannotStartLeavesNeitherThread) {
    for (const int allowed : {0, 1}) {
        const CapturedLog log;
        {
            const ThreadCreationFails fault(allowed);
            const VirtualGateway gateway("127.0.0.1", 2101);
            EXPECT_EQ(gateway.Status(), CREATED);
        }
        EXPECT_EQ(log.Count(plog::error, "Cannot spawn Send theread."), 1 - allowed);
        EXPECT_EQ(log.Count(plog::error, "Cannot spawn Read theread."), allowed);
        EXPECT_EQ(log.Count(plog::debug, "Closing send thread."), allowed);
        EXPECT_FALSE(log.Holds(plog::debug, "Read thread spawned."));
    }
}

TEST(VirtualGatewayConstruction, AThreadWithoutAGatewayEndsWithALine) {
    const CapturedLog log;
    Threading::Thread reader(VirtualGateway::readThreadProc);
    ASSERT_TRUE(reader.Start(nullptr));
    EXPECT_TRUE(reader.Join());
    EXPECT_EQ(log.Count(plog::debug, "Read thread spawned."), 1);
    EXPECT_EQ(log.Count(plog::error, "CurrentGateway is null."), 1);
    Threading::Thread sender(VirtualGateway::sendThreadProc);
    ASSERT_TRUE(sender.Start(nullptr));
    EXPECT_TRUE(sender.Join());
    EXPECT_EQ(log.Count(plog::verbose, "Send thread spawned."), 1);
    EXPECT_EQ(log.Count(plog::error, "CurrentGateway is null."), 2);
    EXPECT_FALSE(log.Holds(plog::debug, "Closing"));
}

using LifecycleTest = GatewayTest;

TEST_F(LifecycleTest, ConnectWithARefreshIsConnectedAndQueuesItAfterTheCallbackAndWithoutOneIsReadyAtOnce) {
    int linesBeforeCallback = -1;
    owner_.onStateChanged = [&](const StateChange&) {
        linesBeforeCallback = log_.Count(plog::verbose, "Refreshing sequence couter.");
    };
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_EQ(linesBeforeCallback, 0);
    EXPECT_FALSE(gateway_->Connect(true)) << "it is CONNECTED";
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    EXPECT_TRUE(gateway_->Connect(false));
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 2);
    EXPECT_EQ(owner_.Steps(),
              StateSteps({{CREATED, CONNECTED}, {CONNECTED, FAULTED}, {FAULTED, READY}, {READY, CONNECTED}}));
    EXPECT_EQ(owner_.StateChanges().at(0).gateway, gateway_.get());
    EXPECT_EQ(owner_.StateChanges().at(0).context, Context(0));
}

TEST_F(LifecycleTest, ASendToTheGatewayMayTake15Seconds) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    timeval timeout = {};
    // Sockets to gateways have numbers from 1024 on.
    for (int descriptor = 0; descriptor < 4096; ++descriptor) {
        sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        socklen_t timeoutSize = sizeof timeout;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_family == AF_INET &&
            ntohs(peer.sin_port) == fake_.Port()) {
            EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &timeout, &timeoutSize), 0);
        }
    }
    EXPECT_EQ(timeout.tv_sec, 15);
    EXPECT_EQ(timeout.tv_usec, 0);
}

TEST_F(LifecycleTest, TheOwnerHearsOfADisconnectWhenTheSocketIsClosedAndTheStatusIsSet) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    int closedBeforeCallback = 0;
    Brenk::VirtualGatewayStatuses statusInCallback = Brenk::UNKNOWN;
    owner_.onStateChanged = [&](const StateChange& change) {
        closedBeforeCallback = log_.Count(plog::debug, "Called close on current connectionSocket.");
        statusInCallback = change.gateway->Status();
    };
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_EQ(closedBeforeCallback, 1);
    EXPECT_EQ(statusInCallback, DISCONNECTED);
    EXPECT_TRUE(connection_.WaitForEnd());
}

TEST_F(LifecycleTest, AnExceptionInTheStateCallbackMakesDisconnectFail) {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == DISCONNECTED) {
            throw new Brenk::NullObjectException;
        }
    };
    ASSERT_TRUE(gateway_->Connect(false));
    EXPECT_FALSE(gateway_->Disconnect());
    EXPECT_EQ(gateway_->Status(), DISCONNECTED);
    EXPECT_EQ(log_.Count(plog::error, "Cannot disconnect from the gateway: Null or empty object"), 1);
}

// A machine that is busy may take longer from the construction of a gateway to its set-up than the sender rests. Two
// other gateways, one after the other, tell when the sender of the first has rested.
TEST(VirtualGatewaySetUp, ASenderThatRunsBeforeTheOwnerIsSetLosesNoKeepAlive) {
    const CapturedLog log;
    const Owner owner;
    int context = 0;
    const auto setUpAndWaitForKeepAlives = [&](VirtualGateway& gateway, int count) {
        gateway.SetOwner(Owner::Callbacks(&context));
        return WaitUntil([&] { return log.Count(plog::verbose, "Sequence Counter refresh enqueued.") == count; });
    };
    VirtualGateway late("127.0.0.1", 1);
    VirtualGateway inTime("127.0.0.1", 1);
    ASSERT_TRUE(setUpAndWaitForKeepAlives(inTime, 1));
    VirtualGateway next("127.0.0.1", 1);
    ASSERT_TRUE(setUpAndWaitForKeepAlives(next, 2));
    EXPECT_TRUE(setUpAndWaitForKeepAlives(late, 3));
    EXPECT_FALSE(log.Holds(plog::error, ""));
}

TEST(VirtualGatewaySetUp, WithoutAnOwnerAGatewaySendsFromItsFirstConnectOn) {
    const CapturedLog log;
    FakeGateway fake;
    fake.Listen();
    VirtualGateway gateway("127.0.0.1", fake.Port());
    int context = 0;
    ASSERT_TRUE(gateway.GetNodeStatus("request-1", 5, &context));
    ASSERT_TRUE(gateway.Connect(false));
    FakeConnection connection = fake.Accept();
    EXPECT_EQ(DeviceAddressOf(connection.ReceiveFrame()), 5U);
    // The keep-alive has no context to come back with: its exception costs the cycle in which it was due.
    EXPECT_EQ(log.Count(plog::error, "Exception in the send loop of virtual gateway with ID 0: Argument null"), 1)
        << log.Text();
}

TEST(VirtualGatewaySetUp, WithoutAnOwnerARefreshAtTheConnectIsRefusedThoughTheGatewayIsConnected) {
    const CapturedLog log;
    FakeGateway fake;
    fake.Listen();
    VirtualGateway gateway("127.0.0.1", fake.Port());
    EXPECT_TRUE(ThrowsNew<Brenk::ArgumentNullException>([&] { gateway.Connect(true); }));
    EXPECT_EQ(gateway.Status(), CONNECTED);
    EXPECT_TRUE(gateway.Disconnect());
}

TEST(VirtualGatewaySetUp, GatewaysThatNeverGotAnOwnerAreDestroyedPromptlyAndWithoutAnError) {
    const CapturedLog log;
    const auto begin = std::chrono::steady_clock::now();
    for (int count = 1; count <= 20; ++count) {
        const VirtualGateway gateway("127.0.0.1", 1);
        EXPECT_EQ(gateway.ID(), 0);
        EXPECT_TRUE(WaitUntil([&] { return log.Count(plog::verbose, "Send thread spawned.") == count; }));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(log.Count(plog::debug, "Closing send thread."), 20);
    EXPECT_FALSE(log.Holds(plog::error, ""));
}

}  // namespace
}  // namespace Testing
