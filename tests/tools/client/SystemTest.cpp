// The client library with the real Mux and simulated gateways.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/MuxSystem.h"
#include "tools/client/Client.h"

namespace MuxClient {
namespace {

using SystemTest::MuxSystem;
using testing::Each;

// Sent by the program at once: without their turns the Mux would build several within one period, with the same
// numbers, and only the first of them is sure of an answer.
TEST(ClientSystemTest, GetsAnAnswerToEachOfManyRequestsToOneGateway) {
    MuxSystem system{SystemTest::WithGateways({{1, {5}}, {2, {6}}})};
    Client client({"127.0.0.1", system.Port()});
    std::vector<bool> acks;
    for (int count = 0; count < 4; ++count) {
        for (const LockAddress& lock : {LockAddress{1, 5}, LockAddress{2, 6}}) {
            client.Send(Request::Open(lock),
                        [&](const std::optional<Message>& answer) { acks.push_back(answer && answer->IsAck()); });
        }
    }
    while (acks.size() < 8) {
        ASSERT_TRUE(client.Wait(SystemTest::kDeadline));
    }
    EXPECT_THAT(acks, Each(true));
}

}  // namespace
}  // namespace MuxClient
