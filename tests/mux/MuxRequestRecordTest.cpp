#include "mux/MuxRequestRecord.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "mux/messages/RequestPayloads.h"

namespace Mux {
namespace {

using Brenk::Net::ClientIdentity;

std::unique_ptr<MuxMessage> MessageWithID(const char* messageID) {
    return std::make_unique<MuxMessage>(0, messageID, 10, std::make_unique<MuxLockOpenMessagePayload>(1, 5));
}

TEST(MuxRequestRecord, OfARequestStartsWithoutAttemptsAndWithoutAnswer) {
    const std::shared_ptr<MuxMessage> message = MessageWithID("m1");
    const MuxRequestRecord record({7, 3}, message);
    EXPECT_EQ(record.socketFD, 7);
    EXPECT_EQ(record.Client().descriptor, 7);
    EXPECT_EQ(record.Client().serial, 3U);
    EXPECT_EQ(record.sendAttempts, 0);
    EXPECT_FALSE(record.isEvent);
    EXPECT_EQ(record.message, message);
    EXPECT_EQ(record.answer, nullptr);
}

TEST(MuxRequestRecord, OfAnEventSaysSo) {
    EXPECT_TRUE(MuxRequestRecord({7, 3}, MessageWithID("e1"), true).isEvent);
    EXPECT_FALSE(MuxRequestRecord({7, 3}, MessageWithID("e1"), false).isEvent);
}

TEST(MuxRequestRecord, OfAnEventStartsWithoutAttemptsAndWithoutAnswerToo) {
    const MuxRequestRecord record({7, 3}, MessageWithID("e1"), true);
    EXPECT_EQ(record.sendAttempts, 0);
    EXPECT_EQ(record.answer, nullptr);
}

TEST(MuxRequestRecord, KeepsTheWholeSerialNumberOfItsConnection) {
    const MuxRequestRecord record({7, 0x100000003}, MessageWithID("a"));
    EXPECT_EQ(record.connectionSerial, 0x100000003U);
    EXPECT_EQ(record.Client().serial, 0x100000003U);
}

TEST(MuxRequestRecord, TakesItsMessageOver) {
    std::unique_ptr<MuxMessage> message = MessageWithID("a");
    const MuxMessage* const given = message.get();
    const MuxRequestRecord record(ClientIdentity{7, 3}, std::move(message));
    EXPECT_EQ(record.message.get(), given);
    EXPECT_EQ(record.message->MessageID(), "a");
}

TEST(MuxRequestRecord, CanBeWithoutAMessage) {
    const MuxRequestRecord record(ClientIdentity{7, 3}, nullptr);
    EXPECT_EQ(record.message, nullptr);
}

TEST(MuxRequestRecord, TheRecordsOfOneEventShareItsMessageAndTheLastOneFreesIt) {
    std::shared_ptr<MuxMessage> event = MessageWithID("a");
    const std::weak_ptr<MuxMessage> observed = event;
    auto first = std::make_unique<MuxRequestRecord>(ClientIdentity{7, 3}, event, true);
    auto second = std::make_unique<MuxRequestRecord>(ClientIdentity{8, 4}, std::move(event), true);
    EXPECT_EQ(first->message, second->message);
    first.reset();
    EXPECT_FALSE(observed.expired());
    second.reset();
    EXPECT_TRUE(observed.expired());
}

// Tells when it is freed.
class ObservedPayload : public MuxMessagePayloadBase {
  public:
    explicit ObservedPayload(bool& freed) : freed_(freed) {}
    ~ObservedPayload() override { freed_ = true; }
    ObservedPayload(const ObservedPayload&) = delete;
    ObservedPayload& operator=(const ObservedPayload&) = delete;

  private:
    bool& freed_;
};

TEST(MuxRequestRecord, OwnsItsAnswer) {
    bool freed = false;
    {
        MuxRequestRecord record(ClientIdentity{7, 3}, MessageWithID("a"));
        record.answer = std::make_unique<MuxMessage>(0, "a", 0, std::make_unique<ObservedPayload>(freed));
        EXPECT_FALSE(freed);
    }
    EXPECT_TRUE(freed);
}

}  // namespace
}  // namespace Mux
