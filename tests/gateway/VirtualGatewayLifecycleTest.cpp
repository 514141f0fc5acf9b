#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <future>
#include <optional>

#include "diagnostics/ErrorGuard.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/support/ThreadCreationFails.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::CREATED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::NOT_PRESENT;
using Brenk::READY;
using Brenk::VirtualGateway;
using Diagnostics::ErrorGuard;

// The exception that making a gateway throws as a pointer to a new object; null when it throws none.
template <typename... Arguments>
std::unique_ptr<std::exception> ThrownBy(Arguments... arguments) {
    try {
        const VirtualGateway gateway(arguments...);
    } catch (std::exception* thrown) {
        return std::unique_ptr<std::exception>(thrown);
    }
    return nullptr;
}

TEST(VirtualGatewayStatuses, HaveTheNumbersThatAreLogged) {
    EXPECT_EQ(Brenk::UNKNOWN, 0);
    EXPECT_EQ(CREATED, 1);
    EXPECT_EQ(CONNECTED, 2);
    EXPECT_EQ(READY, 3);
    EXPECT_EQ(DISCONNECTED, 4);
    EXPECT_EQ(FAULTED, 5);
    EXPECT_EQ(NOT_PRESENT, 6);
    EXPECT_EQ(sizeof(Brenk::VirtualGatewayStatuses), 4U);
}

TEST(VirtualGatewayConstruction, AnEmptyAddressThrowsNullObjectException) {
    const auto exception = ThrownBy("", 2101U);
    EXPECT_NE(dynamic_cast<Brenk::NullObjectException*>(exception.get()), nullptr);
    EXPECT_NE(dynamic_cast<Brenk::NullObjectException*>(ThrownBy("").get()), nullptr);
    EXPECT_NE(dynamic_cast<Brenk::NullObjectException*>(ThrownBy("", 0U).get()), nullptr);
}

TEST(VirtualGatewayConstruction, Port0ThrowsInvalidArgumentException) {
    const auto exception = ThrownBy("127.0.0.1", 0U);
    EXPECT_NE(dynamic_cast<Brenk::InvalidArgumentException*>(exception.get()), nullptr);
}

TEST(VirtualGatewayConstruction, TheOneArgumentConstructorConnectsToPort2101) {
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

TEST(VirtualGatewayConstruction, ASendThreadThatCannotStartLeavesNeitherThread) {
    const CapturedLog log;
    {
        const ThreadCreationFails fault(0);
        const VirtualGateway gateway("127.0.0.1", 2101);
        EXPECT_EQ(log.Count(plog::error, "Cannot spawn Send theread."), 1);
        EXPECT_EQ(gateway.Status(), CREATED);
    }
    EXPECT_FALSE(log.Holds(plog::error, "Cannot spawn Read theread."));
    EXPECT_FALSE(log.Holds(plog::verbose, "thread spawned."));
    EXPECT_FALSE(log.Holds(plog::debug, "thread spawned."));
}

TEST(VirtualGatewayConstruction, AReadThreadThatCannotStartEndsTheSendThreadToo) {
    const CapturedLog log;
    const ThreadCreationFails fault(1);
    const VirtualGateway gateway("127.0.0.1", 2101);
    EXPECT_EQ(log.Count(plog::error, "Cannot spawn Read theread."), 1);
    EXPECT_FALSE(log.Holds(plog::error, "Cannot spawn Send theread."));
    EXPECT_EQ(log.Count(plog::debug, "Closing send thread."), 1);
}

TEST(VirtualGatewayThreads, AThreadWithoutAGatewayEndsWithALine) {
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

// The SO_SNDTIMEO of the first socket of this process whose other end has this port.
std::optional<timeval> SendTimeoutOfConnectionTo(int port) {
    // Sockets to gateways have numbers from 1024 on.
    constexpr int kDescriptors = 4096;
    for (int descriptor = 0; descriptor < kDescriptors; ++descriptor) {
        sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        timeval timeout = {};
        socklen_t timeoutSize = sizeof timeout;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_family == AF_INET &&
            ntohs(peer.sin_port) == port &&
            getsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &timeout, &timeoutSize) == 0) {
            return timeout;
        }
    }
    return std::nullopt;
}

using LifecycleTest = GatewayTest;

TEST_F(LifecycleTest, TheOwnerSetsIdentityAndContext) {
    EXPECT_EQ(gateway_->ID(), 12);
    EXPECT_EQ(gateway_->Description(), "Front door");
    EXPECT_EQ(gateway_->IpAddress(), "127.0.0.1");
    EXPECT_EQ(gateway_->Port(), fake_.Port());
}

TEST_F(LifecycleTest, ConnectWithoutRefreshIsReadyAtOnce) {
    EXPECT_TRUE(gateway_->Connect(false));
    EXPECT_EQ(gateway_->Status(), READY);
    ASSERT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}}));
    EXPECT_EQ(owner_.StateChanges().at(0).gateway, gateway_.get());
    EXPECT_EQ(owner_.StateChanges().at(0).context, Context(0));
    EXPECT_FALSE(log_.Holds(plog::verbose, "Refreshing sequence couter."));
}

TEST_F(LifecycleTest, ConnectWithRefreshIsConnectedAndQueuesTheRefreshAfterTheCallback) {
    int linesBeforeCallback = -1;
    owner_.onStateChanged = [&](const StateChange&) {
        linesBeforeCallback = log_.Count(plog::verbose, "Refreshing sequence couter.");
    };
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_EQ(gateway_->Status(), CONNECTED);
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, CONNECTED}}));
    EXPECT_EQ(linesBeforeCallback, 0);
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
}

TEST_F(LifecycleTest, ANewSequenceNumberMakesAConnectedGatewayReady) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    StartSending();
    connection_.Send(ResultFrame(ReferenceIDOf(connection_.ReceiveFrame()), 7, 41));
    ASSERT_TRUE(owner_.WaitForStateChanges(2));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, CONNECTED}, {CONNECTED, READY}}));
    EXPECT_TRUE(gateway_->IsSequenceCounterKnown());
}

TEST_F(LifecycleTest, ConnectInConnectedReturnsFalseWithoutTouchingTheSocket) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    EXPECT_FALSE(gateway_->Connect(true));
    EXPECT_FALSE(gateway_->Connect(false));
    EXPECT_EQ(owner_.StateChanges().size(), 1U);
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_EQ(log_.Count(plog::debug, "Socket created."), 1);
}

TEST_F(LifecycleTest, ConnectInReadyConnectsAnewAndReportsTheChangeThoughTheStatusStays) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(gateway_->Connect(false));
    FakeConnection second = fake_.Accept();
    EXPECT_TRUE(connection_.WaitForEnd());
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, READY}}));
    second.Send(EventFrame(14, {0x01}));
    EXPECT_TRUE(owner_.WaitForEvents(1));
}

TEST_F(LifecycleTest, DisconnectClosesTheSocketAndTellsTheOwner) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_TRUE(connection_.WaitForEnd());
    EXPECT_EQ(gateway_->Status(), DISCONNECTED);
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, DISCONNECTED}}));
}

TEST_F(LifecycleTest, TheOwnerHearsOfADisconnectWhenTheSocketIsClosedAndTheStatusIsSet) {
    int closedBeforeCallback = -1;
    Brenk::VirtualGatewayStatuses statusInCallback = Brenk::UNKNOWN;
    owner_.onStateChanged = [&](const StateChange& change) {
        closedBeforeCallback = log_.Count(plog::debug, "Called close on current connectionSocket.");
        statusInCallback = change.gateway->Status();
    };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_EQ(closedBeforeCallback, 0);
    EXPECT_EQ(statusInCallback, READY);
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_EQ(closedBeforeCallback, 1);
    EXPECT_EQ(statusInCallback, DISCONNECTED);
}

// Only CONNECTED and NOT_PRESENT turn it away.
TEST_F(LifecycleTest, ConnectInFaultedConnectsAnewWithAndWithoutARefresh) {
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    EXPECT_TRUE(gateway_->Connect(false));
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_EQ(owner_.Steps(),
              StateSteps({{CREATED, FAULTED}, {FAULTED, READY}, {READY, FAULTED}, {FAULTED, CONNECTED}}));
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
}

TEST_F(LifecycleTest, ConnectWithARefreshInReadyGoesBackToConnected) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}, {READY, CONNECTED}}));
}

TEST_F(LifecycleTest, AFaultedGatewayThatWasNeverConnectedIsDisconnectedToo) {
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, FAULTED}, {FAULTED, DISCONNECTED}}));
}

TEST_F(LifecycleTest, AFaultedGatewayBecomesNotPresentAtThe20thFailureAndNotBefore) {
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    fake_.Refuse();
    for (int attempt = 1; attempt <= 19; ++attempt) {
        EXPECT_FALSE(gateway_->Connect(false));
        EXPECT_EQ(gateway_->Status(), FAULTED);
    }
    EXPECT_FALSE(gateway_->Connect(true));
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, FAULTED}, {FAULTED, NOT_PRESENT}}));
}

TEST_F(LifecycleTest, ASendToTheGatewayMayTake15Seconds) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    const std::optional<timeval> timeout = SendTimeoutOfConnectionTo(static_cast<int>(fake_.Port()));
    ASSERT_TRUE(timeout.has_value());
    EXPECT_EQ(timeout->tv_sec, 15);
    EXPECT_EQ(timeout->tv_usec, 0);
}

TEST_F(LifecycleTest, DisconnectIsAllowedInConnectedAndFaultedToo) {
    ASSERT_TRUE(gateway_->Connect(true));
    EXPECT_TRUE(gateway_->Disconnect());
    ASSERT_TRUE(gateway_->Connect(false));
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, CONNECTED},
                                          {CONNECTED, DISCONNECTED},
                                          {DISCONNECTED, READY},
                                          {READY, FAULTED},
                                          {FAULTED, DISCONNECTED}}));
}

TEST_F(LifecycleTest, DisconnectInCreatedAndDisconnectedReturnsFalseAndChangesNothing) {
    EXPECT_FALSE(gateway_->Disconnect());
    EXPECT_EQ(gateway_->Status(), CREATED);
    ASSERT_TRUE(gateway_->Connect(false));
    ASSERT_TRUE(gateway_->Disconnect());
    EXPECT_FALSE(gateway_->Disconnect());
    EXPECT_EQ(owner_.StateChanges().size(), 2U);
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

TEST_F(LifecycleTest, The20thFailedConnectMovesToNotPresentAndAttempts1To19LeaveTheStatusUnchanged) {
    fake_.Refuse();
    const std::uint32_t reports = ErrorGuard::Instance().FirstCounter();
    for (int attempt = 1; attempt <= 19; ++attempt) {
        EXPECT_FALSE(gateway_->Connect(true));
        EXPECT_EQ(gateway_->Status(), CREATED);
    }
    EXPECT_TRUE(owner_.StateChanges().empty());
    EXPECT_FALSE(gateway_->Connect(true));
    EXPECT_EQ(gateway_->Status(), NOT_PRESENT);
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, NOT_PRESENT}}));
    EXPECT_EQ(owner_.StateChanges().at(0).context, Context(0));
    EXPECT_EQ(ErrorGuard::Instance().FirstCounter(), reports + 20);
    EXPECT_EQ(log_.Count(plog::error, "Cannot connect to socket:Connection refused"), 20);
}

TEST_F(LifecycleTest, InNotPresentConnectReturnsFalseWithoutTouchingTheSocketAndDisconnectReturnsFalse) {
    fake_.Refuse();
    for (int attempt = 1; attempt <= 20; ++attempt) {
        gateway_->Connect(false);
    }
    ASSERT_EQ(gateway_->Status(), NOT_PRESENT);
    fake_.Listen();
    EXPECT_FALSE(gateway_->Connect(false));
    EXPECT_FALSE(gateway_->Connect(true));
    EXPECT_FALSE(fake_.HasNewConnection());
    EXPECT_FALSE(gateway_->Disconnect());
    EXPECT_EQ(gateway_->Status(), NOT_PRESENT);
    EXPECT_EQ(owner_.StateChanges().size(), 1U);
}

TEST_F(LifecycleTest, FailedConnectsCountOverTheWholeLifeOfTheGateway) {
    fake_.Refuse();
    for (int attempt = 1; attempt <= 10; ++attempt) {
        EXPECT_FALSE(gateway_->Connect(false));
    }
    fake_.Listen();
    ASSERT_TRUE(gateway_->Connect(false));
    ASSERT_TRUE(gateway_->Disconnect());
    fake_.Refuse();
    for (int attempt = 11; attempt <= 19; ++attempt) {
        EXPECT_FALSE(gateway_->Connect(false));
        EXPECT_EQ(gateway_->Status(), DISCONNECTED);
    }
    EXPECT_FALSE(gateway_->Connect(false));
    EXPECT_EQ(owner_.Steps().back(), std::make_pair(DISCONNECTED, NOT_PRESENT));
}

TEST_F(LifecycleTest, APortBeyondTheRangeCannotBeResolved) {
    StartSending();
    for (const std::uint32_t port : {65536U + fake_.Port(), 0xFFFFFFFFU}) {
        VirtualGateway gateway("127.0.0.1", port);
        EXPECT_FALSE(gateway.Connect(false));
        EXPECT_EQ(gateway.Status(), CREATED);
    }
    EXPECT_EQ(log_.Count(plog::error, "GetAddrInfo error:Servname not supported for ai_socktype"), 2);
    EXPECT_FALSE(fake_.HasNewConnection());
}

TEST_F(LifecycleTest, AGatewayWithoutCallbacksConnectsAndDisconnects) {
    Brenk::GatewayOwner silent;
    silent.context = Context(0);
    gateway_->SetOwner(silent);
    EXPECT_TRUE(gateway_->Connect(true));
    EXPECT_TRUE(gateway_->Disconnect());
    EXPECT_TRUE(owner_.StateChanges().empty());
}

TEST_F(LifecycleTest, ConnectWithRefreshButWithoutAContextThrowsToTheCaller) {
    gateway_->SetOwner(Owner::Callbacks(nullptr));
    try {
        gateway_->Connect(true);
        FAIL() << "nothing was thrown";
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> exception(thrown);
        EXPECT_STREQ(exception->what(), "Argument null");
    }
    EXPECT_EQ(gateway_->Status(), CONNECTED);
}

TEST_F(LifecycleTest, AThreadThatFindsTheConnectionInUseIsTurnedAwayAndItsOwnThreadIsNot) {
    const auto own = gateway_->TryLockConnection();
    EXPECT_TRUE(own.owns_lock());
    EXPECT_TRUE(gateway_->TryLockConnection().owns_lock());
    EXPECT_FALSE(std::async(std::launch::async, [&] { return gateway_->TryLockConnection().owns_lock(); }).get());
}

}  // namespace
}  // namespace Testing
