#include <gtest/gtest.h>

#include <set>

#include "messages/AnswerPayloads.h"
#include "messages/EventPayloads.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"

namespace Testing {
namespace {

using Brenk::Messages::BrenkFrameHeader;
using Brenk::Messages::BrenkMessage;
using Brenk::Messages::BrenkMessagePayload;

const Bytes kCardEvent = EventFrame(14, {0x04, 0xA1, 0xB2, 0xC3});
const Bytes kPinEvent = EventFrame(22, {0x01, 0x02, 0x03, 0x0F});

constexpr const char* kNoCardText = "cardReaderPayload is NULL!";
constexpr const char* kNoPinText = "pinCodeReaderPayload is NULL!";

std::unique_ptr<BrenkMessage> MessageOf(std::uint8_t type, std::unique_ptr<BrenkMessagePayload> payload) {
    BrenkFrameHeader header;
    header.payloadType = type;
    header.deviceAddress = 5;
    auto message = std::make_unique<BrenkMessage>(header);
    message->AttachPayload(std::move(payload));
    return message;
}

class EventsTest : public GatewayTest {
  protected:
    // Handles one frame and returns the one event that came of it.
    ReceivedEvent EventOf(std::unique_ptr<BrenkMessage> message) {
        gateway_->ManageBrenkGatewayResponse(message.release(), std::time(nullptr));
        EXPECT_EQ(owner_.Events().size(), 1U);
        return owner_.Events().back();
    }

    void ExpectNoPinLines() const {
        EXPECT_FALSE(log_.Holds(plog::verbose, "Payload is of type PinCode."));
        EXPECT_FALSE(log_.Holds(plog::debug, "PIN received"));
    }

    std::unique_ptr<BrenkMessage> Parsed(Bytes frame) { return std::unique_ptr<BrenkMessage>(builder_->Parse(frame)); }
};

TEST(EventMessageType, IsThatOfFiveCodes) {
    const std::set<int> eventTypes = {14, 15, 17, 18, 22};
    for (int type = 0; type <= 255; ++type) {
        const auto message = MessageOf(static_cast<std::uint8_t>(type), nullptr);
        EXPECT_EQ(VirtualGateway::IsEventMessageType(message.get()), eventTypes.count(type) == 1) << type;
    }
    EXPECT_TRUE(ThrowsNew<Brenk::ArgumentNullException>([] { VirtualGateway::IsEventMessageType(nullptr); }));
}

TEST_F(EventsTest, AnEventFromTheSocketReachesTheCallbackOnTheReadThreadWithItsDataAsHexadecimal) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    connection_.Send(kPinEvent);
    ASSERT_TRUE(owner_.WaitForEvents(1));
    const ReceivedEvent event = owner_.Events().at(0);
    EXPECT_EQ(event.type, 22);
    EXPECT_EQ(event.deviceAddress, 5);
    EXPECT_EQ(event.data, "0102030F");
    EXPECT_EQ(event.reserved, 0U);
    EXPECT_EQ(event.context, Context(0));
    EXPECT_EQ(event.gateway, gateway_.get());
    EXPECT_FALSE(event.underLock);
    EXPECT_EQ(event.thread, owner_.Responses().at(0).thread);
    EXPECT_NE(event.thread, std::this_thread::get_id());
    EXPECT_TRUE(WaitUntil([&] { return log_.Count(plog::verbose, "Ended management.") == 2; }));
    ExpectInOrder({{plog::verbose, "Payload is of type PinCode. Will be parsed for PIN."},
                   {plog::debug, "PIN received : 0102030F"},
                   {plog::verbose, "Clear memory for the parsed response message."}});
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(EventsTest, TheCodeDecidesOnTheDataAndTheLow16BitsOfTheAddressArePassedOn) {
    const struct {
        std::uint8_t type;
        Bytes data;
        const char* expected;
    } cases[] = {{14, {0xAB}, "AB"}, {15, {0xAB}, "AB"}, {14, {}, ""}, {17, {0xAB}, ""}, {18, {0xAB}, ""}};
    for (const auto& tested : cases) {
        Bytes payload = {0xA0, 0xA1, 0xA2, 0xA3, 0xB1, 0xB2, 0xB3, static_cast<unsigned char>(tested.data.size())};
        payload.insert(payload.end(), tested.data.begin(), tested.data.end());
        gateway_->ManageBrenkGatewayResponse(Parsed(Frame(tested.type, 0, payload, 0x1234FEDC)).release(), 0);
        EXPECT_EQ(owner_.Events().back().type, tested.type);
        EXPECT_EQ(owner_.Events().back().data, tested.expected);
        EXPECT_EQ(owner_.Events().back().deviceAddress, 0xFEDC);
    }
    EXPECT_EQ(log_.Count(plog::error, kNoCardText), 2) << "those without a payload of a card";
    EXPECT_EQ(log_.Count(plog::debug, "RFID received : "), 3) << "those without data";
}

TEST_F(EventsTest, APinEventWhosePayloadIsOfAnotherTypeIsStillDeliveredWithEmptyData) {
    const auto event = EventOf(MessageOf(22, std::make_unique<Brenk::Messages::BrenkGetStatusPayload>()));
    EXPECT_EQ(event.type, 22);
    EXPECT_EQ(event.data, "");
    EXPECT_EQ(log_.Count(plog::warning, "Payload type is not PinCode type. Current value: \x02"), 1) << log_.Text();
    EXPECT_EQ(log_.Count(plog::error, kNoPinText), 1);
    EXPECT_FALSE(log_.Holds(plog::error, "Current message payload is null."));
    ExpectNoPinLines();
    // Likewise a card's.
    Bytes pinFrame = kPinEvent;
    gateway_->ManageBrenkGatewayResponse(
        MessageOf(14, std::make_unique<Brenk::Messages::BrenkPincodeMessagePayload>(pinFrame)).release(), 0);
    EXPECT_EQ(owner_.Events().back().data, "");
    EXPECT_EQ(log_.Count(plog::error, kNoCardText), 1);
}

TEST_F(EventsTest, APinEventWithoutPayloadIsStillDeliveredWithEmptyData) {
    EXPECT_EQ(EventOf(MessageOf(22, nullptr)).data, "");
    EXPECT_EQ(log_.Count(plog::error, "Current message payload is null."), 1);
    EXPECT_EQ(log_.Count(plog::error, kNoPinText), 1);
    EXPECT_FALSE(log_.Holds(plog::warning, "Payload type"));
    EXPECT_TRUE(log_.Holds(plog::verbose, "Current message CRC: "));
    ExpectNoPinLines();
}

TEST_F(EventsTest, WithoutAnEventCallbackTheEventIsIgnored) {
    Brenk::GatewayOwner silent;
    silent.context = Context(0);
    gateway_->SetOwner(silent);
    gateway_->ManageBrenkGatewayResponse(Parsed(kCardEvent).release(), 0);
    EXPECT_EQ(log_.Count(plog::warning, "No callback for events is set. The event will be ignored."), 1);
    EXPECT_FALSE(log_.Holds(plog::debug, "RFID received"));
    EXPECT_EQ(log_.Count(plog::verbose, "Ended management."), 1);
    EXPECT_TRUE(owner_.Events().empty());
}

}  // namespace
}  // namespace Testing
