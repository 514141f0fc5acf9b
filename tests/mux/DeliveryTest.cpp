#include "mux/Delivery.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tests/mux/MuxClient.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

using Brenk::Net::ClientIdentity;
using Testing::CapturedLog;

namespace Mux {
namespace {

constexpr ClientIdentity kNobody = {999, 1};

RecordPointer AckFor(const ClientIdentity& client, const std::string& messageID) {
    auto record = std::make_unique<MuxRequestRecord>(client, nullptr);
    MuxMessageBuilder builder;
    record->answer = builder.BuildMessage(MUX_MESSAGE_ACK, messageID, builder.BuildAckPayload());
    return record;
}

class DeliveryTest : public testing::Test {
  protected:
    const CapturedLog log;
    RecordQueue answers{"testAnswersMutex"};
    Clients clients;
    Delivery delivery{answers, clients};
};

TEST_F(DeliveryTest, HasNothingToDoWhileTheQueueIsEmpty) {
    EXPECT_FALSE(delivery.DeliverHead());
    EXPECT_EQ(log.Count(plog::error, "Popped message answer is NULL!!!"), 0);
}

TEST_F(DeliveryTest, DropsWhatHoldsNothingToSend) {
    answers.Push(nullptr);
    answers.Push(std::make_unique<MuxRequestRecord>(kNobody, nullptr));
    answers.Push(std::make_unique<MuxRequestRecord>(kNobody, nullptr, true));
    for (std::size_t left = 3; left > 0; --left) {
        EXPECT_EQ(answers.Count(), left);
        EXPECT_FALSE(delivery.DeliverHead());
    }
    EXPECT_EQ(answers.Count(), 0U);
}

TEST_F(DeliveryTest, KeepsAnAnswerAtTheHeadForFifteenAttempts) {
    answers.Push(AckFor(kNobody, "first"));
    answers.Push(AckFor(kNobody, "second"));
    for (int attempt = 1; attempt <= 15; ++attempt) {
        EXPECT_EQ((*answers.Head())->answer->MessageID(), "first");
        EXPECT_FALSE(delivery.DeliverHead());
    }
    EXPECT_EQ((*answers.Head())->answer->MessageID(), "second");
    EXPECT_EQ((*answers.Head())->sendAttempts, 0);
}

TEST_F(DeliveryTest, SendsAnswersAndEventsInTheirOrder) {
    const Testing::ReservedPort port;
    ASSERT_TRUE(clients.Open(std::make_unique<Brenk::Net::ServerSocket>(port.Number())));
    Testing::MuxClient client(port.Number());
    ASSERT_TRUE(Testing::WaitUntil([this] { return clients.Connected().size() == 1; }));
    const ClientIdentity identity = clients.Connected().front();
    MuxMessageBuilder builder;
    answers.Push(AckFor(identity, "a1"));
    answers.Push(std::make_unique<MuxRequestRecord>(
        identity, builder.BuildMessage(MUX_MESSAGE_EVENT_CARD_READER, "e1", builder.BuildCardEvent(1, 5, "t", "0A")),
        true));
    EXPECT_TRUE(delivery.DeliverHead());
    EXPECT_TRUE(delivery.DeliverHead());
    EXPECT_EQ(answers.Count(), 0U);
    EXPECT_EQ(client.Receive(), R"({"Timestamp":T,"MessageID":"a1","MessageCode":0,"Data":{}})");
    EXPECT_EQ(client.Receive(), R"({"Timestamp":T,"MessageID":"e1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,)"
                                R"("timestamp":"t","RFIDData":"0A"}})");
}

}  // namespace
}  // namespace Mux
