// Cancelled threads unwind through the Mux. A catch-all on their way that kept the unwinding would end the process.

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "mux/BrenkMux.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LockData;
using Testing::LogHook;
using Testing::MuxClient;
using Testing::Request;
using Testing::ReservedPort;
using Testing::TestMux;
using Testing::WaitUntil;

namespace Mux {
namespace {

// AddressSanitizer (of GCC 12) reports its own writes when a cancellation unwinds frames that it watches, so these
// tests run in all other builds.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kCanFollowACancellation = false;
#else
constexpr bool kCanFollowACancellation = true;
#endif

class BrenkMuxCancellation : public testing::Test {
  protected:
    void SetUp() override {
        if (!kCanFollowACancellation) {
            GTEST_SKIP() << "the sanitizer of this build cannot follow a cancellation";
        }
    }

    const ReservedPort port;
    const CapturedLog log;
};

// The two loops' threads are cancelled in a log line, so that they meet it in connect() and in send().

TEST_F(BrenkMuxCancellation, PassesThroughTheGatewaysLoop) {
    auto mux = std::make_unique<TestMux>(port.Number());
    const ReservedPort nobody;
    mux->ParseConfiguration(ConfigurationText({nobody.Number()}));
    const LogHook cancel("Getaddr ok.", [] { pthread_cancel(pthread_self()); });
    mux->Start();
    ASSERT_TRUE(WaitUntil([&] { return cancel.Runs() == 1; }));
    ASSERT_TRUE(log.WaitFor(plog::verbose, "All modules threads spawned. Starting main thread control loop."));
    mux.reset();
    EXPECT_EQ(cancel.Runs(), 1);
    EXPECT_FALSE(log.Holds(plog::error, "Exception in the gateways loop"));
    EXPECT_FALSE(log.Holds(plog::debug, "GatewaysThreadProc thread procedure closing."));
}

TEST_F(BrenkMuxCancellation, PassesThroughTheMainLoop) {
    TestMux mux(port.Number());
    mux.Start();
    MuxClient client(port.Number());
    const LogHook cancel("Sending message answer", [] { pthread_cancel(pthread_self()); });
    client.Send(Request(99, "m1"));
    ASSERT_TRUE(WaitUntil([&] { return cancel.Runs() == 1; }));
    mux.Wait();
    EXPECT_FALSE(log.Holds(plog::error, "Exception in the main loop"));
    EXPECT_FALSE(log.Holds(plog::warning, "Mux main thread is closing."));
}

// Runs `work` on a thread of its own, which the work may leave by any way.
class WorkingThread {
  public:
    explicit WorkingThread(std::function<void()> work) : work_(std::move(work)) {
        EXPECT_EQ(pthread_create(&thread_, nullptr, Run, &work_), 0);
    }

    void Cancel() const { EXPECT_EQ(pthread_cancel(thread_), 0); }

    // Waits for the end and says whether the thread was unwound before it came to the end of its work.
    bool WasUnwound() const {
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread_, &result), 0);
        return result != nullptr;
    }

  private:
    static void* Run(void* work) {
        (*static_cast<std::function<void()>*>(work))();
        return nullptr;
    }

    std::function<void()> work_;
    pthread_t thread_ = 0;
};

TEST_F(BrenkMuxCancellation, PassesThroughTheWaitForTheMainThread) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer loses a thread that is cancelled while it joins another";
#endif
    TestMux mux(port.Number());
    mux.Start();
    const WorkingThread waiting([&mux] { mux.Wait(); });
    ASSERT_TRUE(log.WaitFor(plog::verbose, "Waiting for join thrad ID"));
    waiting.Cancel();
    EXPECT_TRUE(waiting.WasUnwound());
    EXPECT_FALSE(log.Holds(plog::error, ""));
    // Nobody else is the worse for it.
    MuxClient client(port.Number());
    client.Send(Request(99, "m1"));
    EXPECT_EQ(client.Receive(), Testing::RequestNack("m1"));
    mux.ForceShutdown();
    mux.Wait();
    EXPECT_EQ(log.Count(plog::warning, "Mux main thread is closing."), 1);
}

// The other catch-alls stand around work that has no cancellation point today. There the thread ends itself in the
// middle of the work, which unwinds it just as a cancellation does.
struct Unwinding {
    const char* name;
    const char* line;  // the log line in which the thread ends
    void (*work)(TestMux& mux);
};

void PrintTo(const Unwinding& unwinding, std::ostream* out) {
    *out << unwinding.name;
}

class BrenkMuxUnwinding : public BrenkMuxCancellation, public testing::WithParamInterface<Unwinding> {};

TEST_P(BrenkMuxUnwinding, PassesAndLeavesTheMuxUsable) {
    TestMux mux;
    mux.ParseConfiguration(ConfigurationText({port.Number()}));
    {
        const LogHook end(GetParam().line, [] { pthread_exit(PTHREAD_CANCELED); });
        const WorkingThread thread([&mux] { GetParam().work(mux); });
        EXPECT_TRUE(thread.WasUnwound());
        EXPECT_EQ(end.Runs(), 1);
    }
    EXPECT_FALSE(log.Holds(plog::error, ""));
    EXPECT_FALSE(log.Holds(plog::debug, "The exception was: "));
    EXPECT_EQ(mux.PendingCount(), 0U);
    mux.Route(Request(99, "m2"));
    EXPECT_EQ(mux.TakeAnswer(log), Testing::RequestNack("m2"));
}

constexpr Unwinding kUnwindings[] = {
    {"OfAConfiguration", "Mutex waitingMessagesMutex created.",
     [](TestMux& mux) { mux.ParseConfiguration(ConfigurationText({2101})); }},
    {"OfAStateChange", "changed state from",
     [](TestMux& mux) {
         BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), Brenk::CREATED, Brenk::CONNECTED, &mux);
     }},
    {"OfAForwardedRequest", "Popped MuxRequestInfo", [](TestMux& mux) { mux.Route(Request(10, "m1", LockData())); }},
    {"OfARoutedRequest", "Prepare to send message", [](TestMux& mux) { mux.Route(Request(10, "m1", LockData())); }},
    {"OfANack", "Enqueuing NACK mux answer", [](TestMux& mux) { mux.Route(Request(99, "m1")); }},
};

INSTANTIATE_TEST_SUITE_P(All, BrenkMuxUnwinding, testing::ValuesIn(kUnwindings),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace Mux
