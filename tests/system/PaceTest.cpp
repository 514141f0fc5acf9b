// How fast the Mux works, and how its two counters run.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::string RequestNumber(std::size_t number, const std::string& text) {
    return Replace(Replace(text, "@G", "1"), "@I", "request-" + std::to_string(number));
}

// Both loops rest a millisecond after every record.
TEST(Pace, IsOneRecordAMillisecond) {
    constexpr std::size_t kRequests = 100;
    std::string packets;
    for (std::size_t number = 0; number < kRequests; ++number) {
        packets += Packet(RequestNumber(number, RequestWithoutData(3)));
    }
    MuxSystem system(WithGateways({}));
    TestClient client = system.NewClient();
    const std::time_t from = std::time(nullptr);
    const auto start = steady_clock::now();
    client.SendRaw(packets);
    for (std::size_t number = 0; number < kRequests; ++number) {
        ExpectMessage(client.Receive(), "request-" + std::to_string(number), Refusal(), from);
    }
    EXPECT_GE(steady_clock::now() - start, milliseconds(kRequests - 1));
}

TEST(Pace, IsOneFrameAGatewayIn300Milliseconds) {
    constexpr std::size_t kRequests = 8;
    constexpr milliseconds kPeriod{300};
    // A frame is noted after it was sent, the first one later than the last one by this at most.
    constexpr milliseconds kLateness{250};
    constexpr milliseconds kWorkInAPeriod{50};
    MuxSystem system;
    const TestClient client = system.NewClient();
    for (std::size_t number = 0; number < kRequests; ++number) {
        client.Send(RequestNumber(number, Request(14)));
    }
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + kRequests, kDeadline));

    const std::vector<Simulator::ReceivedFrame> frames = system.Gateway().ReceivedFrames();
    const auto first = frames.begin() + MuxSystem::kFramesAtStart;
    EXPECT_GE(frames.back().arrival - first->arrival + kLateness, kPeriod * (kRequests - 1));
    auto shortest = steady_clock::duration::max();
    for (auto frame = first + 1; frame != frames.end(); ++frame) {
        shortest = std::min(shortest, frame->arrival - (frame - 1)->arrival);
    }
    EXPECT_LT(shortest, kPeriod + kWorkInAPeriod);
}

// A frame takes its reference ID and counter when it is built, and both move on only when one is sent.
TEST(Pace, OfTwoRequestsBuiltInOnePeriodOnlyTheFirstIsAnswered) {
    MuxSystem system;
    ExchangeRunner runner(system);
    const Exchange alone = {"alone", Request(14), "00000005 08", Ack()};
    // A frame may leave just between the two; then both are answered, and there is another try.
    for (int attempt = 0; attempt < 5; ++attempt) {
        runner.Run({alone});
        const std::string both = Packet(RequestNumber(1, Request(14))) + Packet(RequestNumber(2, Request(12)));
        const ExchangeRunner::Counters before = runner.NextFrame();
        runner.Client().SendRaw(both);
        ASSERT_TRUE(system.Gateway().WaitForFrames(before.frames + 2, kDeadline));
        const std::vector<Simulator::ReceivedFrame> frames = system.Gateway().ReceivedFrames();
        EXPECT_NE(runner.Client().Receive().find("request-1"), std::string::npos);
        if (frames.at(before.frames + 1).frame.referenceId == before.referenceId) {
            EXPECT_EQ(Simulator::ToHex(frames.at(before.frames).bytes),
                      Simulator::ToHex(WholeFrame(before, "00000005 08")));
            EXPECT_EQ(Simulator::ToHex(frames.at(before.frames + 1).bytes),
                      Simulator::ToHex(WholeFrame(before, "00000005 01")));
            // The second is refused for its counter, and the gateway's counter is what goes on from here.
            const std::string counter = "The current SEQ is " + std::to_string(before.sequenceCounter);
            ASSERT_TRUE(system.Mux().WaitFor(counter));
            Advance(runner.NextFrame());
            Advance(runner.NextFrame());
            runner.NextFrame().sequenceCounter = before.sequenceCounter + 1;
            runner.Run({alone});
            return;
        }
        EXPECT_NE(runner.Client().Receive().find("request-2"), std::string::npos);
        Advance(runner.NextFrame());
        Advance(runner.NextFrame());
    }
    FAIL() << "never were two requests built in one period";
}

// An answered request a period is just fast enough to be done before the keep-alive of 27 seconds.
TEST(Pace, OfSeventySendsTheReferenceIdsBeginAgainBehind63AndThenTheKeepAliveComes) {
    constexpr std::size_t kSends = 70 - MuxSystem::kFramesAtStart;
    MuxSystem system;
    ExchangeRunner runner(system);
    for (std::size_t send = 0; send < kSends; ++send) {
        runner.Run({{"send " + std::to_string(send), Request(14), "00000005 08", Ack()}});
    }
    EXPECT_EQ(runner.NextFrame().referenceId, 8);
    EXPECT_EQ(runner.NextFrame().sequenceCounter, 1069U);

    const std::size_t frames = MuxSystem::kFramesAtStart + kSends;
    ASSERT_TRUE(system.Gateway().WaitForFrames(frames + 1, kDeadline));
    const std::vector<Simulator::ReceivedFrame> received = system.Gateway().ReceivedFrames();
    EXPECT_EQ(Simulator::ToHex(received.back().bytes), Simulator::ToHex(WholeFrame(runner.NextFrame(), "00000100 01")));
    // Whole seconds are counted, and the first keep-alive may have waited for the end of its period.
    EXPECT_GT(received.back().arrival - received.front().arrival, std::chrono::seconds(25));
    ASSERT_TRUE(
        system.Mux().WaitFor("The gateway answer is for a NEW SEQ but the gateway cannot find a route to the "
                             "device. Maybe it's a keep alive packet."));

    Advance(runner.NextFrame());
    runner.Run({{"after the keep-alive", Request(12), "00000005 01",
                 Ack(R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":false,"BatteryWarningLevel":false,)"
                     R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})")}});
}

}  // namespace
}  // namespace SystemTest
