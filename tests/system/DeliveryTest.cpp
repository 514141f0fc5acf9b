// Answers find their client, and do no harm when it is gone.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <system_error>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"
#include "tools/gateway-simulator/Console.h"
#include "tools/gateway-simulator/FrameCodec.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace SystemTest {
namespace {

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

    ASSERT_EQ(Execute(system.Gateway(), "fault silence"), "");
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

Simulator::Bytes CardEvent() {
    Simulator::Frame frame;
    frame.deviceAddress = 5;
    frame.code = Simulator::kCardEvent;
    frame.payload = {0, 0, 0, 0, 0, 0, 0, 1, 0xAB};  // four bytes, three bytes, the length of the card's data, the data
    return Simulator::EncodeFrame(frame);
}

// So many come in one piece, each to so many, that the client is gone when their turn comes: the Mux sends one in a
// millisecond.
TEST(Delivery, OfEventsToAClientThatIsGoneIsGivenUpEachForItself) {
    constexpr int kEvents = 1500;
    MuxSystem system;
    std::vector<TestClient> others;
    for (int other = 0; other < 19; ++other) {
        others.push_back(system.NewClient());
    }
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", others.size()));
    TestClient client = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", others.size() + 1));
    const std::string descriptor = LastDescriptor(system.Mux());
    Simulator::Bytes piece;
    for (int event = 0; event < kEvents; ++event) {
        const Simulator::Bytes frame = CardEvent();
        piece.insert(piece.end(), frame.begin(), frame.end());
    }
    ASSERT_TRUE(system.Gateway().SendRaw(piece));
    EXPECT_NE(client.Receive().find(R"("RFIDData":"AB")"), std::string::npos);
    client.Close();
    EXPECT_TRUE(system.Mux().WaitFor(
        "Cannot send event to socket with FD " + descriptor + ". Tried 15, I will delete the answer from queue.", 2));
}

TEST(Delivery, IsToTheClientThatAsked) {
    MuxSystem system;
    ExchangeRunner runner(system);
    TestClient other = system.NewClient();
    runner.Run({kRequest, kRequest});
    ExpectServed(other, "other");
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
    ExpectServed(newer, "next");
}

const std::string kNotTaken = "Cannot send data to server socketResource temporarily unavailableSocket ";

// Asks for `count` answers of some `bytes` each and reads none.
void AskForMuch(const TestClient& client, std::size_t count, std::size_t bytes) {
    const std::string longId(bytes, 'x');
    for (std::size_t number = 0; number < count; ++number) {
        client.Send(R"({"MessageID":")" + longId + std::to_string(number) + R"(","MessageCode":3})");
    }
}

// The longest that an answer takes to come, of so many one after the other.
std::chrono::milliseconds LongestWait(TestClient& client, int requests) {
    std::chrono::milliseconds longest{0};
    for (int number = 0; number < requests; ++number) {
        const auto begin = std::chrono::steady_clock::now();
        ExpectServed(client, "other");
        longest = std::max(
            longest, std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin));
    }
    return longest;
}

// What was cut off when the client is closed is the last that it gets: nothing follows the fragment.
TEST(Delivery, ToAClientThatDoesNotReadEndsThatClientAndTheOthersGoOn) {
    constexpr std::size_t kRequests = 12;
    constexpr std::size_t kBytes = 60000;
    MuxSystem system(WithArguments({}));
    ExchangeRunner runner(system);
    TestClient other = system.NewClient();
    TestClient stalled = system.NewClient(TestClient::Buffers::kSmall);
    const std::time_t from = std::time(nullptr);
    AskForMuch(stalled, kRequests, kBytes);
    ASSERT_TRUE(system.Mux().WaitFor("Sending message answer with ID "));
    EXPECT_LT(LongestWait(other, 10), std::chrono::seconds(1));
    ASSERT_TRUE(system.Mux().WaitFor(kNotTaken));
    runner.Run({kRequest});
    EXPECT_EQ(system.Mux().Count(kNotTaken), 1U);

    std::size_t whole = 0;
    for (std::string text = stalled.Receive(); text != "(closed)"; text = stalled.Receive()) {
        ExpectMessage(text, std::string(kBytes, 'x') + std::to_string(whole), Refusal(), from);
        ++whole;
        ASSERT_LT(whole, kRequests) << "it took everything";
    }
}

// While megabytes are due to some that never read and to one that reads a little now and then.
TEST(Delivery, ToOthersWaitsForNobodyWhoDoesNotRead) {
    constexpr std::size_t kNotReading = 4;
    MuxSystem system(WithArguments({}, WithGateways({})));
    TestClient other = system.NewClient();
    std::vector<TestClient> notReading;
    for (std::size_t number = 0; number < kNotReading; ++number) {
        notReading.push_back(system.NewClient(TestClient::Buffers::kSmall));
        AskForMuch(notReading.back(), 14, 60000);
    }
    std::chrono::milliseconds longest{0};
    while (system.Mux().Count(kNotTaken) == 0) {
        ASSERT_TRUE(system.Mux().IsRunning());
        notReading.front().ReceiveSome(1000);
        longest = std::max(longest, LongestWait(other, 3));
    }
    EXPECT_LT(longest, std::chrono::milliseconds(1500));
    ASSERT_TRUE(system.Mux().WaitFor(kNotTaken, kNotReading));

    // Each record that is still due to a client when it is closed is tried 15 times. The last answer and its line stand
    // behind all of these.
    const TestClient greedy = system.NewClient(TestClient::Buffers::kSmall);
    EXPECT_THROW(AskForMuch(greedy, 200, 60000), std::system_error) << "it was not closed";
    ExpectServed(other, "last");
    ASSERT_TRUE(system.Mux().WaitFor("Sending message answer with ID last"));
    const std::size_t dropped = system.Mux().Count("I will delete the answer from queue.");
    const std::size_t failures = system.Mux().Count("Cannot send data to server socket");
    EXPECT_GT(dropped, 0U);
    EXPECT_GE(failures, dropped * 15);
    EXPECT_LE(failures, dropped * 15 + kNotReading + 1);
}

}  // namespace
}  // namespace SystemTest
