// A request that a gateway leaves unanswered stays open: the Mux gives up none, and a later answer ends it.

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/UnansweredRequests.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

const std::string kOperated = R"({"Success":true,"ErrorCode":0})";
const std::string kStatus = R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":false,"BatteryWarningLevel":false,)"
                            R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})";
const std::string kOfFirst = "request-1-1";

const Exchange kUnanswered = {
    "a request to a silent gateway", Request(10), "00000005 0A 00000000", {}, "fault silence"};

// Where the reference ID of the frame at `index` comes again behind those of the others; nothing as long as it has not.
std::optional<Simulator::ReceivedFrame> NextWithReferenceIdOf(std::size_t index,
                                                              const std::vector<Simulator::ReceivedFrame>& frames) {
    const Simulator::Frame& first = frames.at(index).frame;
    for (const Simulator::ReceivedFrame& later : frames) {
        if (later.frame.referenceId == first.referenceId && later.frame.sequenceCounter > first.sequenceCounter) {
            return later;
        }
    }
    return std::nullopt;
}

// The reference IDs have gone round, and the older request is the one that the Mux knows.
TEST(OpenRequests, GetTheAnswerToTheFrame63SendsLaterWhichGetsNone) {
    const std::string orphan = "The message is lost";
    MuxSystem system(UnansweredRequests::Setup());
    UnansweredRequests requests(system);
    const std::time_t from = std::time(nullptr);
    requests.Send(10);
    std::optional<Simulator::ReceivedFrame> later;
    while (!later && !testing::Test::HasFailure()) {
        requests.Send(14);
        later = NextWithReferenceIdOf(MuxSystem::kFramesAtStart, system.Gateway().ReceivedFrames());
        ASSERT_LT(system.Gateway().ReceivedFrames().size(), 80U);
    }
    ASSERT_TRUE(later.has_value());
    EXPECT_GE(system.Gateway().ReceivedFrames().size(), MuxSystem::kFramesAtStart + 64);
    const std::size_t orphans = system.Mux().Count(orphan);
    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(*later, 0)));
    ExpectMessage(requests.Client().Receive(), "request-1", Ack(kOperated), from);

    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(*later, 0)));
    EXPECT_TRUE(system.Mux().WaitFor(orphan, orphans + 1));
    requests.Client().Send(Replace(RequestWithoutData(3), "@I", "the last"));
    ExpectMessage(requests.Client().Receive(), "the last", Refusal(), from);
}

TEST(OpenRequests, StayOpenOnTheGatewaysNextConnection) {
    MuxSystem system;
    ExchangeRunner runner(system);
    const std::time_t from = std::time(nullptr);
    runner.Run({kUnanswered});
    const Simulator::ReceivedFrame lost = system.Gateway().ReceivedFrames().back();
    system.Gateway().CloseConnection();
    ASSERT_TRUE(system.Mux().WaitFor("DISCONNECTED to state READY"));
    runner.Run({kRequest});
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
    ASSERT_EQ(Execute(system.Gateway(), "fault silence"), "");
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
