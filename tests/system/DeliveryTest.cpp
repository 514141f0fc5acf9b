// Answers find their client, and do no harm when it is gone.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

const Exchange kRequest = {"a request", Request(14), "00000005 08", Ack()};

// The descriptor that the Mux gave its client accepted last.
std::string LastDescriptor(const MuxProcess& mux) {
    static const std::string kStart = "Client with FD ";
    const std::string output = mux.Output();
    const std::size_t start = output.rfind(kStart) + kStart.size();
    return output.substr(start, output.find(' ', start) - start);
}

TEST(Delivery, ToAClientThatIsGoneIsTriedFifteenTimesAndThenGivenUp) {
    MuxSystem system;
    ExchangeRunner runner(system);
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", 1));
    TestClient gone = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", 2));
    const std::string descriptor = LastDescriptor(system.Mux());

    ASSERT_EQ(system.Gateway().Execute("fault silence"), "");
    gone.Send(Replace(Replace(Request(14), "@G", "1"), "@I", "orphan"));
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + 1, kDeadline));
    Advance(runner.NextFrame());
    gone.Close();
    ASSERT_TRUE(system.Mux().WaitFor("Client deleted from list. FD " + descriptor));

    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(system.Gateway().ReceivedFrames().back(), 0)));
    ASSERT_TRUE(system.Mux().WaitFor("Cannot send message to socket with FD " + descriptor +
                                     ". Tried 15, I will delete the answer from queue."));
    EXPECT_EQ(system.Mux().Count("Sending message answer with ID orphan to socket with FD " + descriptor), 15U);
    runner.Run({kRequest});
}

TEST(Delivery, IsToTheClientThatAsked) {
    MuxSystem system;
    ExchangeRunner runner(system);
    TestClient other = system.NewClient();
    runner.Run({kRequest, kRequest});
    const std::time_t from = std::time(nullptr);
    other.Send(R"({"MessageID":"other","MessageCode":3})");
    ExpectMessage(other.Receive(), "other", Refusal(), from);
}

// The older request keeps its place, the newer one is done by the gateway and never answered.
TEST(Delivery, OfTwoPendingRequestsWithOneMessageIdIsToTheOlderOne) {
    MuxSystem system;
    ExchangeRunner runner(system);
    TestClient newer = system.NewClient();
    const std::time_t from = std::time(nullptr);
    Exchange first = kRequest;
    first.request = Replace(Request(14), "@I", "twin");
    first.gateway = "fault silence";
    first.answer.reset();
    runner.Run({first});
    newer.Send(Replace(Replace(Request(13, R"("lockID":6,"duration":1)"), "@G", "1"), "@I", "twin"));
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + 2, kDeadline));
    Advance(runner.NextFrame());

    // Its answer is the first that comes, and it is taken for the older request's.
    ExpectMessage(runner.Client().Receive(), "twin", Nack(8, "No route for the requested device. "), from);
    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(system.Gateway().ReceivedFrames().at(MuxSystem::kFramesAtStart), 0)));
    ASSERT_TRUE(
        system.Mux().WaitFor("Received a message from Virtual Gateway with ID twin that is not in the requests "
                             "list."));
    newer.Send(R"({"MessageID":"next","MessageCode":3})");
    ExpectMessage(newer.Receive(), "next", Refusal(), from);
}

// The Mux waits 2 seconds for a client to take something. What was cut off by then is the last that this client gets:
// nothing follows the fragment.
TEST(Delivery, ToAClientThatDoesNotReadEndsThatClientAndTheOthersGoOn) {
    constexpr std::size_t kRequests = 12;
    const std::string longId(30000, 'x');
    SystemSetup setup;
    setup.arguments = {};
    MuxSystem system(setup);
    ExchangeRunner runner(system);
    TestClient other = system.NewClient();
    TestClient stalled = system.NewClient(TestClient::Buffers::kSmall);
    const std::time_t from = std::time(nullptr);
    for (std::size_t number = 0; number < kRequests; ++number) {
        stalled.Send(R"({"MessageID":")" + longId + std::to_string(number) + R"(","MessageCode":3})");
    }
    ASSERT_TRUE(system.Mux().WaitFor("Sending message answer with ID "));
    other.Send(R"({"MessageID":"other","MessageCode":3})");
    ExpectMessage(other.Receive(std::chrono::seconds(20)), "other", Refusal(), from);
    EXPECT_EQ(system.Mux().Count("Cannot send data to server socketResource temporarily unavailableSocket "), 1U);
    runner.Run({kRequest});

    std::size_t whole = 0;
    for (std::string text = stalled.Receive(); text != "(closed)"; text = stalled.Receive()) {
        ExpectMessage(text, longId + std::to_string(whole), Refusal(), from);
        ++whole;
        ASSERT_LT(whole, kRequests) << "it took everything";
    }
}

}  // namespace
}  // namespace SystemTest
