// A Mux that has used up its memory: it stays, it cuts no stream wrongly, and it serves again.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fstream>
#include <string>
#include <system_error>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/Sanitized.h"

namespace SystemTest {
namespace {

constexpr rlim_t kKibibyte = 1024;
// What the Mux may add to the address space that it has when it is ready.
constexpr rlim_t kRoom = 32768 * kKibibyte;

rlim_t AddressSpaceOf(const MuxProcess& mux) {
    std::ifstream status("/proc/" + std::to_string(mux.Id()) + "/status");
    const std::string name = "VmSize:";
    std::string word;
    while (status >> word && word != name) {
    }
    rlim_t kibibytes = 0;
    status >> kibibytes;
    return kibibytes * kKibibyte;
}

void Allow(const MuxProcess& mux, rlim_t bytes) {
    const rlimit limit = {bytes, RLIM_INFINITY};
    ASSERT_EQ(prlimit(mux.Id(), RLIMIT_AS, &limit, nullptr), 0);
}

// Requests of 20,000 bytes to a gateway that never answers, each with a MessageID of its own: each stays.
class Flood {
  public:
    explicit Flood(const MuxSystem& system) : system_(system) {}

    // Sends until the Mux closes the connection.
    void UntilClosed() {
        const TestClient client = system_.NewClient();
        try {
            while (true) {
                client.Send(Replace(Replace(Request(14), "@G", "1"), "@I", NextId()));
            }
        } catch (const std::system_error&) {
        }
    }

  private:
    std::string NextId() { return std::to_string(++count_) + std::string(20'000, 'x'); }

    const MuxSystem& system_;
    std::size_t count_ = 0;
};

// Every text that comes back is an answer, and to this client's request; the connection may be closed instead.
bool IsServed(const MuxSystem& system, const std::string& id) {
    TestClient client = system.NewClient();
    try {
        client.Send(R"({"MessageID":")" + id + R"(","MessageCode":3})");
    } catch (const std::system_error&) {
        return false;
    }
    const std::string answer = client.Receive(std::chrono::seconds(2));
    const bool isServed = answer.find("\"MessageID\":\"" + id + "\",\"MessageCode\":1,") != std::string::npos;
    EXPECT_TRUE(isServed || answer == "(nothing)" || answer == "(closed)") << answer;
    return isServed;
}

SystemSetup WithASilentGateway() {
    SystemSetup setup;
    setup.gateways.front().commands = "fault silence always";
    setup.arguments = {};
    setup.waitsUntilQuiet = false;
    return setup;
}

TEST(OutOfMemory, TheMuxGoesOnAndClosesTheClientThatUsesItUp) {
    if (kIsSanitized) {
        GTEST_SKIP() << "the address space of a sanitizer is terabytes wide";
    }
    MuxSystem system(WithASilentGateway());
    ASSERT_TRUE(system.Mux().WaitFor("Accept loop thread spawned."));
    ASSERT_NO_FATAL_FAILURE(Allow(system.Mux(), AddressSpaceOf(system.Mux()) + kRoom));
    Flood flood(system);
    for (int turn = 0; turn < 5; ++turn) {
        flood.UntilClosed();
        IsServed(system, "beside-" + std::to_string(turn));
    }
    ASSERT_TRUE(system.Mux().WaitFor("There is no memory for what was received on socket "));
    // The requests that are queued go to the gateway, one each millisecond, and those without memory are lost.
    int attempts = 0;
    EXPECT_TRUE(
        Testing::WaitUntil([&] { return IsServed(system, "behind-" + std::to_string(++attempts)); }, kDeadline));
    system.Mux().Signal(SIGQUIT);
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 0");
}

}  // namespace
}  // namespace SystemTest
