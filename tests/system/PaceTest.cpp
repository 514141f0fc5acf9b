// How fast the Mux works, and how its two counters run.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/UnansweredRequests.h"

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
    // On a busy machine; the shortest of several periods counts.
    constexpr milliseconds kWorkInAPeriod{200};
    MuxSystem system;
    const TestClient client = system.NewClient();
    const auto start = steady_clock::now();
    for (std::size_t number = 0; number < kRequests; ++number) {
        client.Send(RequestNumber(number, Request(14)));
    }
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + kRequests, kDeadline));

    const std::vector<Simulator::ReceivedFrame> frames = system.Gateway().ReceivedFrames();
    const auto first = frames.begin() + MuxSystem::kFramesAtStart;
    EXPECT_GE(frames.back().arrival - start, kPeriod * (kRequests - 1));
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

// What a frame has that is built after this many sends.
ExchangeRunner::Counters AfterSends(std::size_t sends) {
    constexpr std::size_t kReferenceIds = 63;
    constexpr std::uint32_t kCounterOfThird = 1001;
    return {static_cast<std::uint8_t>(sends % kReferenceIds + 1),
            kCounterOfThird + static_cast<std::uint32_t>(sends - MuxSystem::kFramesAtStart), sends};
}

// Fails unless each frame has the counters that follow from how many were sent before it. One that was built in the
// period of the frame before has the same ones.
void ExpectCountersInOrder(const std::vector<Simulator::ReceivedFrame>& frames) {
    for (std::size_t index = MuxSystem::kFramesAtStart; index < frames.size(); ++index) {
        SCOPED_TRACE("frame " + std::to_string(index));
        const Simulator::ReceivedFrame& received = frames.at(index);
        const ExchangeRunner::Counters before = AfterSends(index - 1);
        const bool isOfPeriodBefore = received.frame.sequenceCounter == before.sequenceCounter;
        EXPECT_EQ(Simulator::ToHex(received.bytes),
                  Simulator::ToHex(WholeFrame(isOfPeriodBefore ? before : AfterSends(index),
                                              IsQuestion(received) ? "00000100 01" : "00000005 08")));
    }
}

// Ends the request that waits for an answer with this reference ID.
void AnswerByHand(MuxSystem& system, std::uint8_t referenceId) {
    const std::string managed = "Ended management.";
    const std::size_t before = system.Mux().Count(managed);
    Simulator::ReceivedFrame request = system.Gateway().ReceivedFrames().back();
    request.frame.referenceId = referenceId;
    EXPECT_TRUE(system.Gateway().SendRaw(AnswerTo(request, 0)));
    EXPECT_TRUE(system.Mux().WaitFor(managed, before + 1));
}

// Lets the gateway answer again by itself, with the counter that the next frame has, and frees the reference IDs of the
// next two. Returns how many frames it has got.
std::size_t EndSilence(MuxSystem& system) {
    for (;;) {
        const std::size_t frames = system.Gateway().ReceivedFrames().size();
        AnswerByHand(system, AfterSends(frames).referenceId);
        AnswerByHand(system, AfterSends(frames + 1).referenceId);
        system.Gateway().SetCounter(AfterSends(frames).sequenceCounter - 1);
        system.Gateway().Inject(Simulator::Fault::Silence().Times(0));
        // A question may have come meanwhile.
        if (system.Gateway().ReceivedFrames().size() == frames) {
            return frames;
        }
    }
}

TEST(Pace, OfSeventySendsTheReferenceIdsBeginAgainBehind63AndThenTheKeepAliveComes) {
    constexpr std::size_t kSends = 70 - MuxSystem::kFramesAtStart;
    MuxSystem system(UnansweredRequests::Setup());
    UnansweredRequests requests(system);
    for (std::size_t send = 0; send < kSends && !testing::Test::HasFailure(); ++send) {
        requests.Send(14);
    }
    const std::size_t frames = EndSilence(system);
    EXPECT_GE(frames, 70U);
    ASSERT_TRUE(system.Gateway().WaitForFrames(frames + 1, kDeadline));
    const std::vector<Simulator::ReceivedFrame> received = system.Gateway().ReceivedFrames();
    ExpectCountersInOrder(received);
    EXPECT_EQ(Simulator::ToHex(received.back().bytes), Simulator::ToHex(WholeFrame(AfterSends(frames), "00000100 01")));
    ASSERT_TRUE(
        system.Mux().WaitFor("The gateway answer is for a NEW SEQ but the gateway cannot find a route to the "
                             "device. Maybe it's a keep alive packet."));

    ExchangeRunner runner(system);
    runner.NextFrame() = AfterSends(frames + 1);
    runner.Run({{"after the keep-alive", Request(12), "00000005 01",
                 Ack(R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":false,"BatteryWarningLevel":false,)"
                     R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})")}});
}

}  // namespace
}  // namespace SystemTest
