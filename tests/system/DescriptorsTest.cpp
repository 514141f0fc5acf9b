// What the Mux does with the descriptor numbers that it may have: when they run out, and when they are many.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ResourceLimit.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

const std::string kAccepted = "Accepted connection with FD ";
const std::string kTooMany = "Too many clients. The connection with FD ";

// The first number that no client has.
constexpr int kHighest = 1024;

// The log file may just be rolling, when places are counted and when we look.
constexpr int kLogFile = 2;

// Sets the limit of the running Mux; false when this machine does not allow that many.
bool AllowDescriptors(const MuxProcess& mux, rlim_t count) {
    rlimit limit = {};
    if (prlimit(mux.Id(), RLIMIT_NOFILE, nullptr, &limit) != 0 || limit.rlim_max < count) {
        return false;
    }
    limit.rlim_cur = count;
    return prlimit(mux.Id(), RLIMIT_NOFILE, &limit, nullptr) == 0;
}

// The numbers that follow `text` in the log.
std::vector<int> NumbersBehind(const MuxProcess& mux, const std::string& text) {
    std::vector<int> numbers;
    for (const std::string& line : mux.Lines()) {
        const std::size_t position = line.find(text);
        if (position != std::string::npos) {
            numbers.push_back(std::stoi(line.substr(position + text.size())));
        }
    }
    return numbers;
}

// How many of the numbers from `begin` up to `end` are open.
int CountOpen(const MuxProcess& mux, int begin, int end) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(mux.Id()) + "/fd")) {
        const int number = std::stoi(entry.path().filename().string());
        count += number >= begin && number < end ? 1 : 0;
    }
    return count;
}

// Whether the thread that wrote the line with `text` sleeps.
bool WriterSleeps(const MuxProcess& mux, const std::string& text) {
    const std::vector<std::string> lines = mux.Lines();
    const auto line = std::find_if(lines.begin(), lines.end(),
                                   [&](const std::string& one) { return one.find(text) != std::string::npos; });
    if (line == lines.end()) {
        return false;
    }
    return Testing::Sleeps(mux.Id(), std::stoi(line->substr(line->find('[') + 1)));
}

SystemSetup WithDescriptors(SystemSetup setup, const MuxProcess::Descriptors& descriptors) {
    setup.descriptors = descriptors;
    return setup;
}

// Connects clients until one is turned away and returns those that are served.
std::vector<TestClient> FillUp(const MuxSystem& system) {
    std::vector<TestClient> clients;
    do {
        clients.push_back(system.NewClient());
        const std::size_t count = clients.size();
        EXPECT_TRUE(Testing::WaitUntil(
            [&] { return system.Mux().Count(kAccepted) + system.Mux().Count(kTooMany) >= count; }, kDeadline));
    } while (system.Mux().Count(kTooMany) == 0 && clients.size() < kHighest);
    EXPECT_EQ(clients.back().Receive(), "(closed)");
    clients.pop_back();
    return clients;
}

TEST(Descriptors, ThatRunOutTurnNewcomersAwayUntilPlacesAreFree) {
    constexpr int kAllowed = 64;
    constexpr int kReserve = 16;
    MuxSystem system(WithDescriptors({}, {0, kAllowed}));
    std::vector<TestClient> clients = FillUp(system);
    ASSERT_GE(clients.size(), 2U);
    for (TestClient& client : clients) {
        ExpectServed(client);
    }
    EXPECT_EQ(system.NewClient().Receive(), "(closed)") << "it still listens, and has still no place";

    // The reserve is what a gateway's new connection is made of.
    system.Gateway().CloseConnection();
    EXPECT_TRUE(system.Mux().WaitFor("Gateway 1 changed state from DISCONNECTED to state READY"));

    clients.front().Close();
    ASSERT_TRUE(system.Mux().WaitFor("Client deleted from list. FD "));
    TestClient next = system.NewClient();
    ExpectServed(next);
    EXPECT_NEAR(CountOpen(system.Mux(), 0, kAllowed), kAllowed - kReserve, kLogFile);
    EXPECT_EQ(system.Mux().Count("Accept loop received a broken socket"), 0U);
}

TEST(Descriptors, OfWhichOnly32AreAllowedServeSomeClientsAllTheSame) {
    MuxSystem system(WithDescriptors({}, {0, 32}));
    std::vector<TestClient> clients = FillUp(system);
    ASSERT_GE(clients.size(), 4U);
    for (TestClient& client : clients) {
        ExpectServed(client);
    }
}

// Once a gateway is connected nothing is kept for it any more.
TEST(Descriptors, ThatManyGatewaysHaveTakenLeaveAllOthersButTheReserveToClients) {
    constexpr int kAllowed = 80;
    constexpr int kReserve = 20;
    std::vector<GatewaySetup> gateways;
    for (int id = 1; id <= 25; ++id) {
        gateways.push_back({id});
    }
    MuxSystem system(WithDescriptors(WithGateways(gateways), {0, kAllowed}));
    const std::vector<TestClient> clients = FillUp(system);
    ASSERT_GE(clients.size(), 20U);
    EXPECT_NEAR(CountOpen(system.Mux(), 0, kAllowed), kAllowed - kReserve, kLogFile);
}

TEST(Descriptors, ThatAreTooFewForEightClientsAreALineAtTheStart) {
    const std::string kFew = " clients only. The process is allowed too few file descriptors.";
    const MuxSystem few(WithDescriptors({}, {0, 16}));
    EXPECT_TRUE(few.Mux().WaitFor(kFew));
    const MuxSystem enough(WithDescriptors(WithArguments({"--verbose"}), {0, 64}));
    ASSERT_TRUE(enough.Mux().WaitFor("All modules threads spawned."));
    EXPECT_EQ(enough.Mux().Count(kFew), 0U);
}

// The receive thread can then wait for nobody.
TEST(Descriptors, OfWhichFewerAreAllowedThanThereAreClientsHoldUpTheClientsAndNothingElse) {
    constexpr const char* kLine = "Error on select. Error: Invalid argument";
    MuxSystem system(WithGateways({}));
    std::vector<TestClient> clients;
    while (clients.size() < 20) {
        clients.push_back(system.NewClient());
    }
    ASSERT_TRUE(system.Mux().WaitFor(" accepted.", clients.size()));
    // Behind that line it counts descriptors and sleeps in accept, which has taken the next number then.
    ASSERT_TRUE(
        Testing::WaitUntil([&] { return WriterSleeps(system.Mux(), "Accept loop thread spawned."); }, kDeadline));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(AllowDescriptors(system.Mux(), 10));
    ASSERT_TRUE(system.Mux().WaitFor(kLine, 3));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900)) << "it spins";
    // The one behind it would make accept fail.
    EXPECT_EQ(system.NewClient().Receive(), "(closed)");
    TestClient waiting = system.NewClient();
    EXPECT_EQ(waiting.Receive(std::chrono::milliseconds(100)), "(nothing)");
    ASSERT_TRUE(AllowDescriptors(system.Mux(), 1000));
    ExpectServed(clients.front());
    ExpectServed(clients.back());
    ExpectServed(waiting);
    TestClient newcomer = system.NewClient();
    ExpectServed(newcomer);
    EXPECT_EQ(system.Mux().Count("Accept loop received a broken socket"), 0U);
}

class ManyDescriptors : public testing::Test {
  protected:
    void SetUp() override {
        if (allowed.Hard() < 2000) {
            GTEST_SKIP() << "this machine allows fewer than 2000 descriptors";
        }
        allowed.Set(allowed.Hard());
    }

    Testing::ResourceLimit allowed{RLIMIT_NOFILE};
};

TEST_F(ManyDescriptors, GiveNoClientANumberOf1024OrMore) {
    // All but a few of the numbers that a client may have are taken.
    constexpr int kTaken = kHighest - 25;
    MuxSystem system(WithDescriptors({}, {kTaken, 0}));
    std::vector<TestClient> clients = FillUp(system);
    ASSERT_GE(clients.size(), 2U);
    const std::vector<int> numbers = NumbersBehind(system.Mux(), kAccepted);
    EXPECT_EQ(*std::max_element(numbers.begin(), numbers.end()), kHighest - 1);
    ExpectServed(clients.front());
    ExpectServed(clients.back());
}

// The Mux raises the limit that it inherits.
TEST_F(ManyDescriptors, GiveGatewaysNumbersOf1024OrMore) {
    ASSERT_TRUE(allowed.Set(kHighest));
    const MuxSystem system(WithGateways({GatewaySetup{1}, GatewaySetup{2}, GatewaySetup{3}}));
    EXPECT_EQ(CountOpen(system.Mux(), kHighest, 2000), 3);
}

TEST_F(ManyDescriptors, OfWhichTheLowestAreTakenServeGatewaysAndNoClient) {
    constexpr int kTaken = 1100;
    MuxSystem system(WithDescriptors({}, {kTaken, 0}));
    RunCommands(system.Gateway(), "card 5 04A1B2C3");
    EXPECT_TRUE(system.Mux().WaitFor("READER EVENT."));
    EXPECT_EQ(system.NewClient().Receive(), "(closed)");
    ASSERT_TRUE(system.Mux().WaitFor(kTooMany));
    const std::vector<int> turnedAway = NumbersBehind(system.Mux(), kTooMany);
    ASSERT_EQ(turnedAway.size(), 1U);
    EXPECT_GT(turnedAway.front(), kTaken);
}

}  // namespace
}  // namespace SystemTest
