// The life of the Mux: construction, start, the two loops, stop and destruction.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/RefusedBind.h"
#include "tests/mux/RobustMutexes.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/ThreadCreationFails.h"
#include "tests/support/WaitUntil.h"
#include "threading/Synchronized.h"
#include "threading/Thread.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::ExpectInOrder;
using Testing::LogHook;
using Testing::LoopbackSocket;
using Testing::MuxClient;
using Testing::RecordFor;
using Testing::RefusedBind;
using Testing::Request;
using Testing::RequestNack;
using Testing::ReservedPort;
using Testing::TestMux;
using Testing::ThreadCreationFails;
using Testing::WaitUntil;

namespace Mux {
namespace {

const char* const kRunning = "Mux main thread is now running on the main process.";
const char* const kGatewaysSpawned = "Virtual gateways thread spawned.";
const char* const kServerReady = "Server socket initialized.";
const char* const kServerFailed = "Error detected on socket. Initialization. Shutdown Mux.";
const char* const kForced = "Force shutdown initiated";
const char* const kLoop = "All modules threads spawned. Starting main thread control loop.";
const char* const kNoAnswer = "AnswerMessage part in the answer message record structure is missing.";
const char* const kMainClosing = "Mux main thread is closing.";
const char* const kGatewaysClosing = "GatewaysThreadProc thread procedure closing.";

using Clock = std::chrono::steady_clock;

class BrenkMuxLifecycle : public testing::Test {
  protected:
    const ReservedPort port;
    const CapturedLog log;
    TestMux mux{port.Number()};
};

TEST(BrenkMuxConstruction, MakesTheThreeMutexesInTheirOrderEachOfThemRobust) {
    const int before = Testing::RobustMutexes();
    const CapturedLog log;
    TestMux mux;
    ExpectInOrder(log, {"Mutex muxMessageQueueMutex created.", "Mutex clientMessageQueueMutex created.",
                        "Mutex pendingMessagesListMutex created.", "Initializing thread mutexes for multithread sync.",
                        "Mutexes for multithread initialized."});
    EXPECT_EQ(Testing::RobustMutexes(), before + 3);
    EXPECT_FALSE(mux.IsConfigured());
    EXPECT_TRUE(mux.Gateways()->gateways.empty());
}

TEST(BrenkMuxDestruction, EndsTheGatewaysAndThenTheMutexesInTheirOrder) {
    const ReservedPort port;
    const CapturedLog log;
    auto mux = std::make_unique<TestMux>();
    mux->ParseConfiguration(ConfigurationText({port.Number()}));
    mux.reset();
    ExpectInOrder(log, {"Virtual gateway destructor called.", "Destroying thread mutexes for multithread sync.",
                        "Mutex clientMessageQueueMutex destroyed.", "Mutex muxMessageQueueMutex destroyed.",
                        "Mutex pendingMessagesListMutex destroyed.", "Thread mutexes destroyed."});
}

// What a gateway still tells while it is being destroyed meets a Mux that is whole.
TEST(BrenkMuxDestruction, OfARunningMuxWithClientsAndRequestsEndsEverything) {
    const ReservedPort port;
    const LoopbackSocket gateway = LoopbackSocket::Listening();  // lets itself be connected and never answers
    const CapturedLog log;
    auto mux = std::make_unique<TestMux>(port.Number());
    mux->ParseConfiguration(ConfigurationText({gateway.Port()}));
    mux->Start();
    MuxClient client(port.Number());
    client.Send(Request(10, "m1", Testing::LockData()));
    ASSERT_TRUE(WaitUntil([&] { return mux->PendingCount() == 1; }));
    mux.reset();
    EXPECT_EQ(log.Count(plog::warning, kMainClosing), 1);
    EXPECT_EQ(log.Count(plog::debug, kGatewaysClosing), 1);
    ExpectInOrder(log, {"Virtual gateway destructor called.", "Accept loop thread closing."});
}

TEST_F(BrenkMuxLifecycle, LogsItsStartInOrderWithTheLoopsOfItsServerSocketOnceThatIsReady) {
    const std::string accept = "Accept loop thread spawned.";
    const std::string receive = "Receive data loop thread spawned.";
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
    ASSERT_TRUE(log.WaitFor(plog::info, accept));
    ASSERT_TRUE(log.WaitFor(plog::info, receive));
    ASSERT_TRUE(log.WaitFor(plog::info, "Main thread spawned."));
    ExpectInOrder(log, {kRunning, kGatewaysSpawned, kServerReady, kLoop});
    ExpectInOrder(log, {kServerReady, accept});
    ExpectInOrder(log, {kServerReady, receive});
    EXPECT_EQ(log.Count(plog::debug, kRunning), 1);
    EXPECT_EQ(log.Count(plog::info, kGatewaysSpawned), 1);
    EXPECT_EQ(log.Count(plog::debug, kServerReady), 1);
}

TEST_F(BrenkMuxLifecycle, OnEachPassConnectsGatewaysBeforeItForwardsARequest) {
    const std::string tried =
        "Try to connect to gateway with ID 1 over IP 127.0.0.1, and also send a request for a SEQUENCE REFRESH.";
    const std::string popped = "Popped MuxRequestInfo with ID m1 for socket with FD 999.";
    const LoopbackSocket gateway = LoopbackSocket::Listening();
    mux.ParseConfiguration(ConfigurationText({gateway.Port()}));
    mux.TakeIn(Request(99, "m1"));
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, popped));
    ExpectInOrder(log, {tried, popped});
}

TEST_F(BrenkMuxLifecycle, ListensOnPort5555WhenItWasGivenNone) {
    const RefusedBind refused;
    TestMux withoutPort;
    withoutPort.Start();
    withoutPort.Wait();
    EXPECT_EQ(refused.Port(), 5555);
}

TEST_F(BrenkMuxLifecycle, StartedTwiceStartsOneMainThreadOnly) {
    mux.Start();
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
    mux.Start();
    mux.ForceShutdown();
    mux.Wait();
    EXPECT_EQ(log.Count(plog::info, "Main thread spawned."), 1);
    EXPECT_EQ(log.Count(plog::debug, kRunning), 1);
    EXPECT_EQ(log.Count(plog::info, kGatewaysSpawned), 1);
}

TEST(BrenkMuxEnd, IsThatOfBothLoopsWithALineWhenItIsForced) {
    for (const bool isForced : {true, false}) {
        const ReservedPort port;
        const CapturedLog log;
        TestMux mux(port.Number());
        mux.Start();
        ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
        isForced ? mux.ForceShutdown() : mux.Stop();
        mux.Wait();
        mux.Wait();
        EXPECT_EQ(log.Count(plog::verbose, kForced), isForced ? 1 : 0);
        EXPECT_EQ(log.Count(plog::warning, kMainClosing), 1);
        EXPECT_TRUE(log.WaitFor(plog::debug, kGatewaysClosing));
    }
}

TEST_F(BrenkMuxLifecycle, CanBeStoppedBeforeItRuns) {
    mux.Stop();
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
    EXPECT_FALSE(log.Holds(plog::warning, kMainClosing));
}

TEST_F(BrenkMuxLifecycle, WaitsForNothingWhenItWasNotStarted) {
    mux.Wait();
    EXPECT_FALSE(log.Holds(plog::debug, kRunning));
}

TEST_F(BrenkMuxLifecycle, LogsAnExceptionThatIsThrownWhileItWaits) {
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
    {
        const LogHook fault("Waiting for join", [] { throw std::runtime_error("cannot join"); });
        mux.Wait();
    }
    EXPECT_EQ(log.Count(plog::error, "cannot join"), 1);
}

TEST_F(BrenkMuxLifecycle, ShutsDownWhenItsPortIsTaken) {
    const LoopbackSocket taken = LoopbackSocket::Listening();
    TestMux shut(taken.Port());
    shut.Start();
    shut.Wait();
    ExpectInOrder(log, {kGatewaysSpawned, kServerFailed, kForced, kLoop, kMainClosing});
    EXPECT_EQ(log.Count(plog::error, kServerFailed), 1);
    EXPECT_TRUE(log.Holds(plog::error, "Error on bind server socket. Address already in use"));
    EXPECT_FALSE(log.Holds(plog::debug, kServerReady));
    EXPECT_FALSE(log.Holds(plog::info, "Accept loop thread spawned."));
    EXPECT_TRUE(log.WaitFor(plog::debug, kGatewaysClosing));
}

TEST_F(BrenkMuxLifecycle, ShutsDownOnAPortThatIsNone) {
    for (const int none : {0, -1, 65536, 70000}) {
        TestMux shut(none);
        shut.Start();
        shut.Wait();
    }
    EXPECT_EQ(log.Count(plog::error, "Error on bind server socket. Invalid argument"), 4);
    EXPECT_EQ(log.Count(plog::error, kServerFailed), 4);
}

TEST_F(BrenkMuxLifecycle, EndsAtOnceWhenItsMainThreadCannotBeStarted) {
    {
        const ThreadCreationFails fault(0);
        mux.Start();
    }
    mux.Wait();
    EXPECT_EQ(log.Count(plog::error, "Cannot spawn main thread. Shutdown Mux."), 1);
    EXPECT_EQ(log.Count(plog::verbose, kForced), 1);
    EXPECT_FALSE(log.Holds(plog::info, "Main thread spawned."));
    mux.Start();
    EXPECT_TRUE(log.WaitFor(plog::info, "Main thread spawned.")) << "it still counts as running";
}

TEST_F(BrenkMuxLifecycle, ShutsDownWhenItsGatewaysThreadCannotBeStarted) {
    const ThreadCreationFails fault(1);
    mux.Start();
    mux.Wait();
    const char* const line = "Cannot spawn virtual gateways thread. Shutdown Mux.";
    ExpectInOrder(log, {line, kForced, kMainClosing});
    EXPECT_EQ(log.Count(plog::error, line), 1);
    EXPECT_FALSE(log.Holds(plog::info, kGatewaysSpawned));
    EXPECT_FALSE(log.Holds(plog::verbose, kLoop));
    EXPECT_FALSE(log.Holds(plog::debug, kServerReady)) << "clients could connect to a Mux that ends";
}

TEST_F(BrenkMuxLifecycle, ShutsDownWhenALoopOfItsServerSocketCannotBeStarted) {
    const char* const lines[] = {"Cannot spawn accept loop thread.", "Cannot spawn receive data loop thread."};
    for (int loops = 0; loops < 2; ++loops) {
        const ReservedPort portOfOne;
        const ThreadCreationFails fault(2 + loops);
        TestMux shut(portOfOne.Number());
        shut.Start();
        shut.Wait();
        EXPECT_EQ(log.Count(plog::error, lines[loops]), 1);
        EXPECT_EQ(log.Count(plog::verbose, kForced), loops + 1);
        EXPECT_EQ(log.Count(plog::warning, kMainClosing), loops + 1);
    }
    EXPECT_FALSE(log.Holds(plog::info, "Receive data loop thread spawned."));
    EXPECT_EQ(log.Count(plog::debug, kGatewaysClosing), 2);
}

TEST_F(BrenkMuxLifecycle, TheThreadProceduresEndWithoutAMux) {
    for (const auto procedure : {&BrenkMux::mainThreadProc, &BrenkMux::gatewaysThreadProc}) {
        Threading::Thread withoutBlock(procedure);
        ASSERT_TRUE(withoutBlock.Start(nullptr));
        EXPECT_TRUE(withoutBlock.Join());
        Threading::Thread withoutOwner(procedure);
        ASSERT_TRUE(Threading::StartWithOwner(withoutOwner, static_cast<BrenkMux*>(nullptr)));
        EXPECT_TRUE(withoutOwner.Join());
    }
    EXPECT_EQ(log.Count(plog::debug, kRunning), 2);
    EXPECT_FALSE(log.Holds(plog::warning, kMainClosing));
    EXPECT_FALSE(log.Holds(plog::debug, kGatewaysClosing));
}

// The shortest time between two passes that each wrote the line: the machine may be late with any one pass, not with
// all.
class PassPeriod {
  public:
    explicit PassPeriod(const std::string& line) : hook_(line, [this] { Note(); }) {}

    Clock::duration Shortest() const {
        return times_.With([](const std::vector<Clock::time_point>& times) {
            auto shortest = Clock::duration::max();
            for (std::size_t index = 1; index < times.size(); ++index) {
                shortest = std::min(shortest, times.at(index) - times.at(index - 1));
            }
            return shortest;
        });
    }

  private:
    void Note() {
        times_.With([](std::vector<Clock::time_point>& times) { times.push_back(Clock::now()); });
    }

    Threading::Synchronized<std::vector<Clock::time_point>> times_;
    const LogHook hook_;
};

constexpr std::chrono::milliseconds kPassPeriod{1};

// A race or address checker makes the work of a pass slower than its sleep.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::chrono::milliseconds kWorkOfAPass{20};
#else
constexpr std::chrono::milliseconds kWorkOfAPass{1};
#endif

// Starts the Mux and checks the time between two passes that write the line, until nothing is left to work at.
template <typename Left>
void ExpectPasses(TestMux& mux, const std::string& line, std::chrono::milliseconds period,
                  std::chrono::milliseconds work, Left left) {
    const PassPeriod passes(line);
    mux.Start();
    ASSERT_TRUE(WaitUntil([&] { return left() == 0; }));
    EXPECT_GE(passes.Shortest(), period);
    EXPECT_LT(passes.Shortest(), period + work);
}

TEST_F(BrenkMuxLifecycle, TheNextRequestLeavesTheRequestQueueAfterAMillisecond) {
    for (int count = 0; count < 200; ++count) {
        mux.TakeIn(Request(99, "m"));
    }
    ExpectPasses(mux, "Popped MuxRequestInfo", kPassPeriod, kWorkOfAPass, [this] { return mux.RequestCount(); });
}

TEST_F(BrenkMuxLifecycle, TheNextAnswerIsDeliveredAfterAMillisecond) {
    for (int count = 0; count < 200; ++count) {
        mux.PushAnswer(RecordFor(999));
    }
    ExpectPasses(mux, kNoAnswer, kPassPeriod, kWorkOfAPass, [this] { return mux.AnswerCount(); });
}

TEST_F(BrenkMuxLifecycle, TheLoopGoesOnWithin15MillisecondsOfANullRecord) {
    for (int count = 0; count < 20; ++count) {
        mux.PushAnswer(nullptr);
    }
    ExpectPasses(mux, "Popped message answer is NULL!!!", kPassPeriod + std::chrono::milliseconds(10), 4 * kWorkOfAPass,
                 [this] { return mux.AnswerCount(); });
}

TEST_F(BrenkMuxLifecycle, TheMainLoopGoesOnAfterAnException) {
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::verbose, kLoop));
    const LogHook fault(kNoAnswer, [] { throw std::runtime_error("disk full"); });
    mux.PushAnswer(RecordFor(999));
    ASSERT_TRUE(WaitUntil([&] { return fault.Runs() > 1; }));
    EXPECT_TRUE(log.Holds(plog::error, "Exception in the main loop: disk full"));
}

TEST_F(BrenkMuxLifecycle, TheGatewaysLoopGoesOnAfterAnException) {
    mux.ParseConfiguration(ConfigurationText({port.Number()}));
    const LogHook fault("Try to connect to gateway", [] { throw std::runtime_error("disk full"); });
    mux.Start();
    ASSERT_TRUE(log.WaitFor(plog::error, "Exception in the gateways loop: disk full"));
    MuxClient client(port.Number());
    client.Send(Request(99, "m1"));
    EXPECT_EQ(client.Receive(), RequestNack("m1"));
}

}  // namespace
}  // namespace Mux
