#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <vector>

#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/support/SignalStorm.h"

namespace Testing {
namespace {

using Brenk::ArgumentNullException;
using Brenk::CONNECTED;
using Brenk::CREATED;
using Brenk::FAULTED;
using Brenk::READY;
using Brenk::VirtualGateway;

// Less than the 11 s for which a read thread waits for bytes, and than 20 of the 300 ms for which each thread rests.
constexpr std::chrono::seconds kPromptly{5};

class ThreadsTest : public GatewayTest {
  protected:
    // Destroys the gateway and returns how long that took.
    std::chrono::steady_clock::duration Destroy() {
        const auto begin = std::chrono::steady_clock::now();
        gateway_.reset();
        return std::chrono::steady_clock::now() - begin;
    }
};

[[noreturn]] void CancelThisThread() {
    pthread_cancel(pthread_self());
    pthread_testcancel();
    std::terminate();
}

TEST_F(ThreadsTest, AGatewayIsDestroyedPromptlyWhileItsThreadsSleep) {
    StartSending();
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "RequestInfo pushed to messagesQueue."));
    EXPECT_LT(Destroy(), kPromptly);
}

TEST_F(ThreadsTest, AGatewayIsDestroyedPromptlyWhileItsReadThreadReceives) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send({0x1F, 0xFE, 0xFD});
    ASSERT_TRUE(log_.WaitFor(plog::debug, "Received data but more than one data chunk must be handled."));
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_TRUE(connection_.WaitForEnd());
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}}));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(ThreadsTest, AGatewayIsDestroyedPromptlyAfterItWasDisconnected) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    ASSERT_TRUE(gateway_->Disconnect());
    EXPECT_LT(Destroy(), kPromptly);
}

TEST_F(ThreadsTest, TheDestructorWaitsForACallbackThatIsStillRunning) {
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> left{false};
    owner_.onEvent = [&](const ReceivedEvent&) {
        entered.set_value();
        release.get_future().wait();
        left = true;
    };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(EventFrame(14, {0x01}));
    entered.get_future().wait();
    auto destroyed = std::async(std::launch::async, [&] {
        gateway_.reset();
        return left.load();
    });
    EXPECT_TRUE(log_.WaitFor(plog::verbose, "Virtual gateway destructor called."));
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(destroyed.get());
}

TEST_F(ThreadsTest, NoCallbackBeginsOnceTheDestructorHasClearedThem) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate managing("Managing new message");
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(managing.WaitForArrival());
    auto destroyed = std::async(std::launch::async, [&] { gateway_.reset(); });
    // The callbacks are cleared before the threads are told to end, and the sender ends at once.
    EXPECT_TRUE(log_.WaitFor(plog::debug, "Closing send thread."));
    managing.Open();
    destroyed.get();
    EXPECT_TRUE(owner_.Events().empty());
    EXPECT_EQ(log_.Count(plog::warning, "No callback for events is set. The event will be ignored."), 1);
}

TEST_F(ThreadsTest, ASendThreadThatIsStillBusyKeepsItsContextWhileTheGatewayIsDestroyed) {
    LogGate keepAlive("Enquequing keep alive Get status.");
    StartSending();
    ASSERT_TRUE(keepAlive.WaitForArrival());
    auto destroyed = std::async(std::launch::async, [&] { gateway_.reset(); });
    EXPECT_TRUE(log_.WaitFor(plog::debug, "Closing read thread."));
    keepAlive.Open();
    destroyed.get();
    EXPECT_EQ(log_.Count(plog::verbose, "Sequence Counter refresh enqueued."), 1);
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

// Each event is sent from inside the callback of the one before: it waits until the reader has rested.
TEST_F(ThreadsTest, TheReadThreadRestsFor300MillisecondsBeforeItReceives) {
    constexpr std::size_t kEvents = 6;
    constexpr std::chrono::milliseconds kPeriod{300};
    constexpr std::chrono::milliseconds kWorkInAPeriod{50};
    std::vector<std::chrono::steady_clock::time_point> moments;
    owner_.onEvent = [&](const ReceivedEvent&) {
        moments.push_back(std::chrono::steady_clock::now());
        if (moments.size() < kEvents) {
            connection_.Send(EventFrame(14, {0x01}));
        }
    };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(owner_.WaitForEvents(kEvents));
    StartSending();
    gateway_.reset();
    auto shortest = std::chrono::steady_clock::duration::max();
    for (std::size_t index = 1; index < kEvents; ++index) {
        shortest = std::min(shortest, moments.at(index) - moments.at(index - 1));
    }
    EXPECT_GE(shortest, kPeriod);
    EXPECT_LT(shortest, kPeriod + kWorkInAPeriod);
}

// Cancelled threads unwind through the loops and their catch-alls, and the gateway can still be destroyed.

TEST_F(ThreadsTest, AReadThreadCancelledInsideTheEventCallbackUnwinds) {
    owner_.onEvent = [](const ReceivedEvent&) { CancelThisThread(); };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(owner_.WaitForEvents(1));
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_FALSE(log_.Holds(plog::error, "Exception"));
    EXPECT_EQ(log_.Count(plog::debug, "Closing send thread."), 1);
    EXPECT_FALSE(log_.Holds(plog::debug, "Closing read thread."));
}

TEST_F(ThreadsTest, AReadThreadCancelledInsideTheResponseCallbackUnwinds) {
    owner_.onResponse = [](const ReceivedResponse&) { CancelThisThread(); };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_FALSE(log_.Holds(plog::error, "Exception"));
}

TEST_F(ThreadsTest, AReadThreadCancelledWhileItDisconnectsUnwinds) {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == Brenk::DISCONNECTED) {
            CancelThisThread();
        }
    };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Close();
    ASSERT_TRUE(owner_.WaitForStateChanges(2));
    // The connection is free again: another thread can take it.
    EXPECT_TRUE(WaitUntil([&] { return gateway_->TryLockConnection().owns_lock(); }));
    EXPECT_TRUE(gateway_->Connect(false));
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_FALSE(log_.Holds(plog::error, "Cannot disconnect"));
}

TEST_F(ThreadsTest, ASendThreadCancelledInsideTheStateCallbackUnwinds) {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == FAULTED) {
            CancelThisThread();
        }
    };
    ASSERT_NO_FATAL_FAILURE(BeReady());
    LogGate managing("Managing new message");
    connection_.Send(EventFrame(14, {0x01}));
    ASSERT_TRUE(managing.WaitForArrival());
    connection_.Reset();
    ASSERT_TRUE(gateway_->GetNodeStatus("request-1", 5, Context(1)));
    ASSERT_TRUE(owner_.WaitForStateChanges(2));
    managing.Open();
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_FALSE(log_.Holds(plog::error, "Exception"));
    EXPECT_FALSE(log_.Holds(plog::debug, "Closing send thread."));
}

// A debugger that attaches, or a stop and a continue, interrupts every call that waits.
TEST_F(ThreadsTest, InterruptedCallsAreNoFailures) {
    const SignalStorm storm;
    ASSERT_NO_FATAL_FAILURE(BeReady());
    for (const char* id : {"request-1", "request-2", "request-3"}) {
        connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest(id)), 0));
    }
    EXPECT_TRUE(owner_.WaitForResponses(3));
    connection_.Close();
    connection_ = fake_.Accept();
    connection_.Send(EventFrame(14, {0x01}));
    EXPECT_TRUE(owner_.WaitForEvents(1));
    EXPECT_EQ(owner_.StateChanges().size(), 3U);
    EXPECT_GT(storm.Handled(), 100);
}

// The reader stands behind its look at the waiting requests while the sender adds one: nothing orders the two but the
// protection of the container. For the race checker. Which of them comes first is chance, so several times.
TEST_F(ThreadsTest, ARequestIsAddedToTheWaitingOnesWhileAnAnswerIsLookedUpInThem) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    for (int round = 0; round < 4; ++round) {
        LogGate lookedUp("The message is lost");
        ASSERT_TRUE(gateway_->GetNodeStatus("request", 5, Context(1)));
        connection_.Send(ResultFrame(60, 0));
        ASSERT_TRUE(lookedUp.WaitForArrival());
        EXPECT_EQ(DeviceAddressOf(connection_.ReceiveLockFrame()), 5U);
    }
}

// Everything at once, for the race and memory checkers.
TEST_F(ThreadsTest, OperationsFromManyThreadsGoOnWhileConnectionsComeAndGo) {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == FAULTED) {
            change.gateway->Disconnect();
            change.gateway->Connect(false);
        }
    };
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    StartSending();
    std::atomic<bool> stopped{false};
    std::atomic<int> accepted{0};
    std::vector<std::thread> clients;
    for (std::size_t client = 0; client < 3; ++client) {
        clients.emplace_back([&, client] {
            while (!stopped) {
                accepted += gateway_->OpenLock("request", 5, 1, false, Context(client)) ? 1 : 0;
                gateway_->SetOwner(Owner::Callbacks(Context(client)));
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    }
    for (int round = 0; round < 6; ++round) {
        const Bytes frame = connection_.ReceiveFrame();
        if (!frame.empty()) {
            connection_.Send(ResultFrame(ReferenceIDOf(frame), round % 2 == 0 ? 7 : 0, 1000));
        }
        round % 2 == 0 ? connection_.Close() : connection_.Reset();
        connection_ = fake_.Accept();
    }
    stopped = true;
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_GT(accepted, 0);
    EXPECT_FALSE(log_.Holds(plog::error, "Exception"));
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
    std::unique_ptr<ArgumentNullException> refused;
    try {
        gateway.Connect(true);
    } catch (ArgumentNullException* exception) {
        refused.reset(exception);
    }
    EXPECT_NE(refused, nullptr);
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
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kPromptly);
    EXPECT_EQ(log.Count(plog::debug, "Closing send thread."), 20);
    EXPECT_FALSE(log.Holds(plog::error, ""));
}

}  // namespace
}  // namespace Testing
