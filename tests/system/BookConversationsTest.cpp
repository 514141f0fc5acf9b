// Every request, answer, frame and event of the books, on its real way: from a client through the Mux to a gateway that
// answers with the bytes of the book, and back.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/system/support/BookExamples.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

using Simulator::ToHex;

SystemSetup WithEveryLock() {
    SystemSetup setup;
    // It answers nothing by itself: the test sends what the book says.
    setup.gateways.front().locks = {5, 6};
    return setup;
}

// Gives the gateway's answer to the request, once the frame has come and the Mux is done with sending it.
void AnswerAsTheBookSays(MuxSystem& system, const Conversation& conversation, std::size_t framesBefore) {
    ASSERT_TRUE(system.Gateway().WaitForFrames(framesBefore + 1, kDeadline)) << "no frame";
    const Simulator::Bytes received = system.Gateway().ReceivedFrames().at(framesBefore).bytes;
    EXPECT_EQ(ToHex(WithNumbersOf(*conversation.frame, received)), ToHex(*conversation.frame));
    ASSERT_TRUE(system.Mux().WaitFor(" Send result:", framesBefore + 1));
    ASSERT_TRUE(system.Gateway().SendRaw(WithNumbersOf(received, conversation.gatewayAnswer)));
}

void Converse(MuxSystem& system, TestClient& client, const Conversation& conversation) {
    SCOPED_TRACE(conversation.name);
    const std::size_t framesBefore = system.Gateway().ReceivedFrames().size();
    if (conversation.frame) {
        ASSERT_EQ(Execute(system.Gateway(), "fault silence"), "");
    }
    client.Send(conversation.request);
    if (conversation.frame) {
        AnswerAsTheBookSays(system, conversation, framesBefore);
    }
    EXPECT_EQ(WithoutTimes(client.Receive()), WithoutTimes(conversation.answer));
}

// A few conversations for each system: the Mux asks the gateway a question of its own after 27 seconds.
std::vector<std::vector<Conversation>> InGroups(const std::vector<Conversation>& conversations) {
    constexpr std::size_t kGroup = 6;
    std::vector<std::vector<Conversation>> groups;
    for (std::size_t start = 0; start < conversations.size(); start += kGroup) {
        const std::size_t end = std::min(start + kGroup, conversations.size());
        groups.emplace_back(conversations.begin() + static_cast<std::ptrdiff_t>(start),
                            conversations.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return groups;
}

TEST(BookConversations, AreAnsweredAsTheBooksSay) {
    const std::vector<Conversation> conversations = Conversations();
    EXPECT_GE(std::count_if(conversations.begin(), conversations.end(),
                            [](const Conversation& conversation) { return conversation.frame.has_value(); }),
              17);
    ForEachSideBySide(InGroups(conversations), [](const std::vector<Conversation>& group) {
        MuxSystem system(WithEveryLock());
        TestClient client = system.NewClient();
        for (const Conversation& conversation : group) {
            Converse(system, client, conversation);
        }
    });
}

// The numbers are those of the books, so everything is compared byte for byte, from the first frame on.
TEST(BookConversations, BeginWithTheQuestionForTheCounter) {
    const Documents::Example& question = *GatewayBook().Find("request", "refresh");
    SystemSetup setup;
    setup.gateways.front().commands = "fault silence 3";
    setup.waitsUntilQuiet = false;
    MuxSystem system(setup);
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart, kDeadline));
    for (const Simulator::ReceivedFrame& received : system.Gateway().ReceivedFrames()) {
        EXPECT_EQ(ToHex(received.bytes), ToHex(BytesOf(question)));
    }
    ASSERT_TRUE(system.Mux().WaitFor(" Send result:", MuxSystem::kFramesAtStart));
    ASSERT_TRUE(system.Gateway().SendRaw(BytesOf(*GatewayBook().Find("answer", "refresh"))));
    ASSERT_TRUE(system.Mux().WaitFor("Received new sequence number. The current SEQ is 1000"));

    TestClient client = system.NewClient();
    client.Send(ClientBook().Find("request", "open")->text);
    ASSERT_TRUE(system.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + 1, kDeadline));
    EXPECT_EQ(ToHex(system.Gateway().ReceivedFrames().back().bytes),
              ToHex(BytesOf(*GatewayBook().Find("request", "open"))));
    ASSERT_TRUE(system.Gateway().SendRaw(BytesOf(*GatewayBook().Find("answer", "open"))));
    EXPECT_EQ(WithoutTimes(client.Receive()), WithoutTimes(ClientBook().Find("answer", "open")->text));
}

TEST(BookEvents, ReachClientsAsTheBooksSay) {
    MuxSystem system;
    TestClient client = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD "));
    const std::vector<Documents::Example> frames = GatewayBook().OfKind("event");
    EXPECT_EQ(frames.size(), ClientBook().OfKind("event").size());
    for (const Documents::Example& frame : frames) {
        SCOPED_TRACE(frame.name);
        const Documents::Example* const event = ClientBook().Find("event", frame.name);
        ASSERT_NE(event, nullptr);
        ASSERT_TRUE(system.Gateway().SendRaw(BytesOf(frame)));
        EXPECT_EQ(WithoutTimes(client.Receive()), WithoutTimes(event->text));
    }
}

}  // namespace
}  // namespace SystemTest
