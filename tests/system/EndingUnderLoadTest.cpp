// The exit status is exact however busy the program is. Each test is one run; --gtest_repeat makes it many.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <ostream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxSystem.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

// Repeats its work on a thread of its own for as long as it lives.
class Busy {
  public:
    explicit Busy(std::function<void()> work)
        : thread_([this, work = std::move(work)] {
              while (!stopped_) {
                  work();
              }
          }) {}
    ~Busy() {
        stopped_ = true;
        thread_.join();
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

  private:
    std::atomic<bool> stopped_{false};
    std::thread thread_;
};

// What the clients have got of the gateways' events.
using Counter = std::atomic<int>;

// One request and whatever comes next, an answer or an event; when the Mux has gone, only a short pause.
void Ask(TestClient& client, Counter& events) {
    try {
        client.Send(R"({"MessageID":"a","MessageCode":3})");
    } catch (const std::system_error&) {
    }
    const std::string text = client.Receive(std::chrono::milliseconds(20));
    events += text.find("lockEventMessage") == std::string::npos ? 0 : 1;
}

// Sends one event after the other. One that arrives together with another frame is held back until the gateway pauses
// for 11 s, so the next one waits long enough for that pause.
class EventSource {
  public:
    EventSource(MuxSystem& system, const Counter& events) : system_(system), events_(events) {}

    void SendWhenDue() {
        const auto now = std::chrono::steady_clock::now();
        if (events_ < expected_ && now < lost_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return;
        }
        expected_ = events_ + 1;
        lost_ = now + std::chrono::seconds(13);
        Execute(system_.Gateway(), "card 5 04A1B2C3");
    }

  private:
    MuxSystem& system_;
    const Counter& events_;
    int expected_ = 0;
    std::chrono::steady_clock::time_point lost_;
};

struct Ending {
    const char* name;
    const char* status;
    void (*cause)(MuxSystem& system);
};

void PrintTo(const Ending& ending, std::ostream* out) {
    *out << ending.name;
}

class EndingUnderLoad : public testing::TestWithParam<Ending> {};

// Everything is logged, so that every thread of the Mux is inside the logger most of the time.
TEST_P(EndingUnderLoad, HasItsExactStatus) {
    const FakeDumpTool tool;
    SystemSetup setup = WithArguments({"--verbose"}, WithGateways({GatewaySetup{1}, GatewaySetup{2}}));
    setup.environment = tool.Environment();
    MuxSystem system(setup);
    TestClient first = system.NewClient();
    TestClient second = system.NewClient();
    Counter events{0};
    EventSource source(system, events);
    const Busy firstClient([&] { Ask(first, events); });
    const Busy secondClient([&] { Ask(second, events); });
    const Busy gateway([&] { source.SendWhenDue(); });
    ASSERT_TRUE(Testing::WaitUntil([&] { return events > 0; }, kDeadline));
    GetParam().cause(system);
    EXPECT_EQ(system.Mux().WaitForEnd(), GetParam().status);
}

template <int kSignal>
void Send(MuxSystem& system) {
    system.Mux().Signal(kSignal);
}

constexpr Ending kEndings[] = {
    {"Quit", "status 0", Send<SIGQUIT>},
    {"HangUp", "status 255", Send<SIGHUP>},
    {"Abort", "status 255", Send<SIGABRT>},
    {"MemoryFault", "status 255", Send<SIGSEGV>},
    {"BusError", "status 255", Send<SIGBUS>},
    {"FailedAssertion", "status 255", [](MuxSystem& system) { system.NewClient().Send("[]"); }},
    {"UnreachableGateway", "status 1", [](MuxSystem& system) { system.Gateway(1).Stop(); }},
};

INSTANTIATE_TEST_SUITE_P(All, EndingUnderLoad, testing::ValuesIn(kEndings),
                         [](const auto& tested) { return std::string(tested.param.name); });

// It has no clients then, but gateways.
TEST(FailedStartUnderLoad, HasItsExactStatus) {
    Simulator::GatewaySimulator gateway;
    gateway.Start();
    const Busy events([&] {
        Execute(gateway, "card 5 04A1B2C3");
        std::this_thread::yield();
    });
    const Testing::TemporaryFolder folder;
    MuxProcess mux({"--verbose", "--port", "--port=0", "--configFile",
                    folder.Write("mux.json", ConfigurationWithGateway(gateway.Port()))});
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
}

}  // namespace
}  // namespace SystemTest
