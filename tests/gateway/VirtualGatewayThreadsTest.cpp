#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <vector>

#include "tests/gateway/GatewayFixture.h"

namespace Testing {
namespace {

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

TEST_F(ThreadsTest, AGatewayIsDestroyedPromptlyWhileItsReadThreadReceives) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send({0x1F, 0xFE, 0xFD});
    ASSERT_TRUE(log_.WaitFor(plog::debug, "Received data but more than one data chunk must be handled."));
    EXPECT_LT(Destroy(), kPromptly);
    EXPECT_TRUE(connection_.WaitForEnd());
    EXPECT_EQ(owner_.Steps(), StateSteps({{CREATED, READY}}));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
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
    ReconnectWhenFaulted();
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

}  // namespace
}  // namespace Testing
