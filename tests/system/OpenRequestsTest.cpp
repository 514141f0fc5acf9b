// A request that a gateway leaves unanswered stays open: the Mux gives up none, and a later answer ends it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

const std::string kOperated = R"({"Success":true,"ErrorCode":0})";
const std::string kStatus = R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":false,"BatteryWarningLevel":false,)"
                            R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})";
const std::string kOfFirst = "request-1-1";

const Exchange kLost = {"a request to a silent gateway", Request(10), "00000005 0A 00000000", {}, "fault silence"};
const Exchange kNext = {"the next request", Request(14), "00000005 08", Ack()};

// The reference IDs have gone round, and the older request is the one that the Mux knows.
TEST(OpenRequests, GetTheAnswerToTheRequest63FramesLaterWhichGetsNone) {
    constexpr std::size_t kBetween = 62;
    MuxSystem system;
    ExchangeRunner runner(system);
    std::vector<Exchange> table = {kLost};
    table.insert(table.end(), kBetween, kNext);
    table.push_back(
        {"63 frames later", Request(12), "00000005 01", Ack(kOperated), "", "", kOfFirst, ByRequestSchema::kFits});
    table.push_back(kNext);
    runner.Run(table);
    const std::vector<Simulator::ReceivedFrame> frames = system.Gateway().ReceivedFrames();
    const std::size_t lost = MuxSystem::kFramesAtStart;
    EXPECT_EQ(frames.at(lost).frame.referenceId, frames.at(lost + kBetween + 1).frame.referenceId);
}

TEST(OpenRequests, StayOpenOnTheGatewaysNextConnection) {
    MuxSystem system;
    ExchangeRunner runner(system);
    const std::time_t from = std::time(nullptr);
    runner.Run({kLost});
    const Simulator::ReceivedFrame lost = system.Gateway().ReceivedFrames().back();
    system.Gateway().CloseConnection();
    ASSERT_TRUE(system.Mux().WaitFor("DISCONNECTED to state READY"));
    runner.Run({kNext});
    ASSERT_EQ(system.Gateway().ConnectionCount(), 2U);
    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(lost, 0)));
    ExpectMessage(runner.Client().Receive(), kOfFirst, Ack(kOperated), from);
}

std::string WithNumberOne(int code) {
    return Replace(Replace(Request(code), "@G", "1"), "@I", "1");
}

// Both use the number of their first request as its message ID. The second client's answer ends the first one's
// request, whose client is gone.
TEST(OpenRequests, OutliveTheirClientAndTakeTheAnswerOfAnotherWithTheirMessageId) {
    MuxSystem system;
    const std::time_t from = std::time(nullptr);
    ASSERT_EQ(system.Gateway().Execute("fault silence"), "");
    {
        TestClient first = system.NewClient();
        first.Send(WithNumberOne(10));
        ASSERT_TRUE(system.Mux().WaitFor(" Send result:", MuxSystem::kFramesAtStart + 1));
        first.Close();
        ASSERT_TRUE(system.Mux().WaitFor("Client deleted from list. FD "));
    }
    TestClient second = system.NewClient();
    second.Send(WithNumberOne(14));
    ASSERT_TRUE(system.Mux().WaitFor("Gateway \"1\" sent an answer for message with ID 1"));
    second.Send(WithNumberOne(12));
    ExpectMessage(second.Receive(), "1", Ack(kStatus), from);
    EXPECT_EQ(system.Gateway().ReceivedFrames().size(), MuxSystem::kFramesAtStart + 3);
}

}  // namespace
}  // namespace SystemTest
