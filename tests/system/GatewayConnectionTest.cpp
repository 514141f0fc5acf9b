// What becomes of the Mux when a gateway's connection ends, or is never made.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/LogLines.h"
#include "tests/system/support/SideBySide.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

const std::string kStateChange = "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from ";

bool WaitForConnections(const Simulator::GatewaySimulator& gateway, std::size_t count) {
    return Testing::WaitUntil([&] { return gateway.ConnectionCount() >= count && gateway.IsConnected(); }, kDeadline);
}

// The runner sees every frame: a question for the counter after a reconnect would be one too many.
TEST(GatewayConnection, ClosedInOrderIsMadeOnceMoreAndRequestsGoOn) {
    MuxSystem system;
    ExchangeRunner runner(system);
    runner.Run({kRequest});
    system.Gateway().CloseConnection();
    ASSERT_TRUE(WaitForConnections(system.Gateway(), 2));
    ASSERT_TRUE(system.Mux().WaitFor(kStateChange + "DISCONNECTED to state READY"));

    runner.Run({kRequest, kRequest});
    EXPECT_EQ(system.Gateway().ConnectionCount(), 2U);
    EXPECT_EQ(system.Gateway().ReceivedFrames().back().connection, 2U);
    ExpectInOrder(system.Mux().Lines(),
                  {{"WARN", "Connection gracefully closed. The VGs will reconnect. Error description: Success"},
                   {"INFO", kStateChange + "READY to state DISCONNECTED"},
                   {"INFO", kStateChange + "DISCONNECTED to state READY"},
                   {"",
                    "Received 0 bytes as read result, and no other read operations was pending. The socket must be "
                    "disconected."}});
    EXPECT_EQ(system.Mux().Count("Connection gracefully closed. The VGs will reconnect. Error description: "), 1U);
    // To CONNECTED and READY at the start, to DISCONNECTED and READY now.
    EXPECT_EQ(system.Mux().Count(" changed state from "), 4U);
}

TEST(GatewayConnection, ClosedAgainAndAgainIsMadeExactlyAsOften) {
    constexpr std::size_t kTimes = 5;
    MuxSystem system;
    ExchangeRunner runner(system);
    for (std::size_t time = 1; time <= kTimes; ++time) {
        system.Gateway().CloseConnection();
        ASSERT_TRUE(WaitForConnections(system.Gateway(), time + 1));
        ASSERT_TRUE(system.Mux().WaitFor(kStateChange + "DISCONNECTED to state READY", time));
        runner.Run({kRequest});
        EXPECT_EQ(system.Gateway().ConnectionCount(), time + 1);
    }
}

TEST(GatewayConnection, ClosedInPlaceOfAnAnswerLeavesThatRequestUnanswered) {
    MuxSystem system;
    ExchangeRunner runner(system);
    Exchange unanswered = kRequest;
    unanswered.gateway = "fault close";
    unanswered.answer.reset();
    unanswered.log = kStateChange + "DISCONNECTED to state READY";
    runner.Run({unanswered, kRequest});
    EXPECT_EQ(system.Gateway().ConnectionCount(), 2U);
}

TEST(GatewayConnection, OfOneGatewayIsNoMatterForTheOthers) {
    MuxSystem system(WithGateways({GatewaySetup{1}, GatewaySetup{2}}));
    ExchangeRunner runner(system);
    system.Gateway(0).CloseConnection();
    ASSERT_TRUE(WaitForConnections(system.Gateway(0), 2));
    ASSERT_TRUE(system.Mux().WaitFor(kStateChange + "DISCONNECTED to state READY"));
    runner.RunSideBySide({{kRequest}, {kRequest}});
    EXPECT_EQ(system.Gateway(1).ConnectionCount(), 1U);
}

// Its counter is asked for twice; the answer to a request that goes out nevertheless tells it.
TEST(GatewayConnection, OnWhichTheCounterWasNeverToldTakesRequests) {
    SystemSetup setup;
    setup.gateways.front().commands = "fault silence 2";
    setup.waitsUntilQuiet = false;
    MuxSystem system(setup);
    ExchangeRunner runner(system);
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart, kDeadline));
    ASSERT_TRUE(system.Mux().WaitFor(" Send result:", MuxSystem::kFramesAtStart));
    runner.NextFrame().sequenceCounter = 3;
    Exchange refused = kRequest;
    refused.answer.reset();
    refused.log = kStateChange + "CONNECTED to state READY";
    runner.Run({refused});
    runner.NextFrame().sequenceCounter = 1001;
    runner.Run({kRequest});
}

// The first question has the right counter and is refused; the answer to the other one tells the counter.
TEST(GatewayConnection, OnWhichTheCounterIsRefusedOnceBecomesReady) {
    SystemSetup setup;
    setup.gateways.front().counter = 0;
    setup.gateways.front().commands = "fault force-result 6";
    setup.waitsUntilQuiet = false;
    MuxSystem system(setup);
    EXPECT_TRUE(
        system.Mux().WaitFor("Received a message from Virtual Gateway that is not in the request list, but it's "
                             "a NEW SEQ REQUEST. Probably used as a keep alive for the gateway."));
    EXPECT_TRUE(system.Mux().WaitFor(kStateChange + "CONNECTED to state READY"));
}

TEST(GatewayConnection, OnWhichNothingComesIsReadOnAfter11Seconds) {
    MuxSystem system(WithArguments({"--verbose"}));
    EXPECT_TRUE(system.Mux().WaitFor("Nothing received within 11 seconds."));
    ExchangeRunner(system).Run({kRequest});
}

void ExpectEndForCriticalErrors(MuxProcess& mux, const std::string& reason) {
    EXPECT_EQ(mux.WaitForEnd(), "status 1");
    ExpectInOrder(mux.Lines(), {{"", reason}, {"ERROR", "Exit for critical errors."}});
    EXPECT_EQ(mux.Count("Exit for critical errors."), 1U);
    // The Mux is stopped without a line of its own.
    EXPECT_EQ(mux.Count("Force shutdown initiated"), 0U);
}

std::string GatewayLine(int port, const std::string& reason) {
    return "Gateway at 127.0.0.1:" + std::to_string(port) + ": " + reason;
}

TEST(GatewayConnection, ThatIsResetIsMadeAgainBeforeTheProcessEndsWithStatus1) {
    MuxSystem system;
    system.Gateway().ResetConnection();
    ExpectEndForCriticalErrors(system.Mux(), "Error not handled. Error code received:104");
    ExpectInOrder(system.Mux().Lines(),
                  {{"ERROR", "Error not handled. Error code received:104"},
                   {"ERROR", GatewayLine(system.Gateway().Port(), "Connection reset by peer")},
                   {"ERROR", "Socket faulted. Receive error. Error description: Connection reset by peer"},
                   {"INFO", kStateChange + "READY to state FAULTED"},
                   {"WARN", "Try to reconnect VG"},
                   {"INFO", kStateChange + "FAULTED to state DISCONNECTED"},
                   {"DEBUG", "Socket connected."},
                   {"INFO", kStateChange + "DISCONNECTED to state READY"},
                   {"ERROR", "Exit for critical errors."}});
}

TEST(GatewayConnection, ThatIsResetInPlaceOfAnAnswerEndsTheProcessWithStatus1) {
    MuxSystem system;
    TestClient client = system.NewClient();
    ASSERT_EQ(Execute(system.Gateway(), "fault reset"), "");
    client.Send(Replace(Request(14), "@G", "1"));
    ExpectEndForCriticalErrors(system.Mux(), "Error not handled. Error code received:104");
    EXPECT_EQ(client.Receive(), "(closed)");
}

TEST(GatewayConnection, ThatCannotBeMadeAgainEndsTheProcessWithStatus1) {
    MuxSystem system;
    system.Gateway().Stop();
    ExpectEndForCriticalErrors(system.Mux(), "Cannot connect to socket:Connection refused");
}

struct UnreachableRow {
    const char* name;
    // 0 for one that nobody listens on.
    int port;
    const char* text;
    const char* reason;
};

const std::vector<UnreachableRow> kUnreachable = {
    {"nobody listens", 0, "Cannot connect to socket:", "Connection refused"},
    {"a port above 65535", 70000, "GetAddrInfo error:", "Servname not supported for ai_socktype"},
    {"a port below 0", -1, "GetAddrInfo error:", "Servname not supported for ai_socktype"},
};

void ExpectUnreachable(const UnreachableRow& row) {
    SCOPED_TRACE(row.name);
    const Testing::ReservedPort nobodyListens;
    const int port = row.port == 0 ? nobodyListens.Number() : row.port;
    const Testing::TemporaryFolder folder;
    const std::string file =
        folder.Write("mux.json", R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":)" +
                                     std::to_string(port) + "}]}");
    const Testing::ReservedPort listen;
    MuxProcess mux(ListeningOn(listen, {"--configFile", file, "--verbose"}));
    ExpectEndForCriticalErrors(mux, std::string(row.text) + row.reason);
    ExpectInOrder(mux.Lines(), {{"ERROR", std::string(row.text) + row.reason},
                                {"ERROR", GatewayLine(port, row.reason)},
                                {"ERROR", "Exit for critical errors."}});
}

TEST(GatewayConnection, ThatCannotBeMadeAtTheStartEndsTheProcessWithStatus1) {
    ForEachSideBySide(kUnreachable, ExpectUnreachable);
}

}  // namespace
}  // namespace SystemTest
