#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "messages/AnswerPayloads.h"
#include "messages/EventPayloads.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/gateway/ThreadFaults.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::VirtualGateway;
using Brenk::Messages::BrenkFrameHeader;
using Brenk::Messages::BrenkMessage;
using Brenk::Messages::BrenkMessagePayload;

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).
const Bytes kCardEvent =
    FromHex("1F FE FD 1A 01 00 00 00 00 00 00 00 00 01 00 05 0E A0 A1 A2 A3 B1 B2 B3 04 04 A1 B2 C3 A1 71");
const Bytes kPinEvent =
    FromHex("1F FE FD 1A 01 00 00 00 00 00 00 00 00 00 00 05 16 A0 A1 A2 A3 B1 B2 B3 04 01 02 03 0F 79 CE");

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

TEST(IsEventMessageType, IsTrueForFiveCodesAndFalseForAllOthers) {
    const std::vector<int> eventTypes = {14, 15, 17, 18, 22};
    for (int type = 0; type <= 255; ++type) {
        const bool expected = std::find(eventTypes.begin(), eventTypes.end(), type) != eventTypes.end();
        const auto message = MessageOf(static_cast<std::uint8_t>(type), nullptr);
        EXPECT_EQ(VirtualGateway::IsEventMessageType(message.get()), expected) << "code " << type;
    }
}

TEST(IsEventMessageType, ThrowsForANullMessage) {
    try {
        VirtualGateway::IsEventMessageType(nullptr);
        FAIL() << "nothing was thrown";
    } catch (Brenk::ArgumentNullException* thrown) {
        const std::unique_ptr<Brenk::ArgumentNullException> exception(thrown);
        EXPECT_STREQ(exception->what(), "Argument null");
    }
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

TEST_F(EventsTest, ACardEventFromTheSocketReachesTheCallbackWithItsDataAsHexadecimal) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    connection_.Send(kCardEvent);
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Ended management."));
    ASSERT_EQ(owner_.Events().size(), 1U);
    const ReceivedEvent event = owner_.Events().at(0);
    EXPECT_EQ(event.type, 14);
    EXPECT_EQ(event.data, "04A1B2C3");
    EXPECT_EQ(event.reserved, 0U);
    EXPECT_EQ(event.context, Context(0));
    EXPECT_EQ(event.gateway, gateway_.get());
    EXPECT_FALSE(event.underLock);
    EXPECT_EQ(event.deviceAddress, 5) << "the low 16 bits of 00 01 00 05";
    EXPECT_EQ(log_.Count(plog::debug, "RFID received : 04A1B2C3"), 1);
    EXPECT_EQ(log_.Count(plog::verbose, "Clear memory for the parsed response message."), 1);
}

TEST_F(EventsTest, APinEventFromTheSocketReachesTheCallbackInConnectedToo) {
    ASSERT_TRUE(gateway_->Connect(true));
    connection_ = fake_.Accept();
    connection_.Send(kPinEvent);
    ASSERT_TRUE(log_.WaitFor(plog::verbose, "Ended management."));
    ASSERT_EQ(owner_.Events().size(), 1U);
    EXPECT_EQ(owner_.Events().at(0).type, 22);
    EXPECT_EQ(owner_.Events().at(0).deviceAddress, 5);
    EXPECT_EQ(owner_.Events().at(0).data, "0102030F");
    ExpectInOrder({{plog::verbose, "Current message CRC: 79CE"},
                   {plog::verbose, "Payload is of type PinCode. Will be parsed for PIN."},
                   {plog::debug, "PIN received : 0102030F"},
                   {plog::verbose, "Clear memory for the parsed response message."},
                   {plog::verbose, "Ended management."}});
    EXPECT_FALSE(log_.Holds(plog::debug, "RFID received"));
    EXPECT_FALSE(log_.Holds(plog::warning, ""));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(EventsTest, BothCardCodesBringTheirData) {
    for (const std::uint8_t type : {std::uint8_t{14}, std::uint8_t{15}}) {
        gateway_->ManageBrenkGatewayResponse(Parsed(EventFrame(type, {0xAB})).release(), 0);
        EXPECT_EQ(owner_.Events().back().type, type);
        EXPECT_EQ(owner_.Events().back().data, "AB");
    }
    EXPECT_FALSE(log_.Holds(plog::error, kNoCardText));
}

TEST_F(EventsTest, OfTheDeviceAddressTheLow16BitsArePassedOn) {
    const Bytes payload = {0xA0, 0xA1, 0xA2, 0xA3, 0xB1, 0xB2, 0xB3, 0x01, 0xAB};
    EXPECT_EQ(EventOf(Parsed(Frame(14, 0, payload, 0x1234FEDC))).deviceAddress, 0xFEDC);
}

TEST_F(EventsTest, TheOtherEventCodesHaveNoPayloadAndAreDeliveredWithEmptyData) {
    for (const std::uint8_t type : {std::uint8_t{17}, std::uint8_t{18}}) {
        gateway_->ManageBrenkGatewayResponse(Parsed(EventFrame(type, {0xAB})).release(), 0);
        EXPECT_EQ(owner_.Events().back().type, type);
        EXPECT_EQ(owner_.Events().back().data, "");
    }
    EXPECT_EQ(log_.Count(plog::error, kNoCardText), 2);
}

TEST_F(EventsTest, ACardEventWithoutDataIsNoError) {
    EXPECT_EQ(EventOf(Parsed(EventFrame(14, {}))).data, "");
    EXPECT_FALSE(log_.Holds(plog::error, kNoCardText));
    EXPECT_EQ(log_.Count(plog::debug, "RFID received : "), 1);
}

TEST_F(EventsTest, ACardEventWhosePayloadIsOfAnotherTypeIsStillDeliveredWithEmptyData) {
    Bytes pinFrame = kPinEvent;
    const auto event = EventOf(MessageOf(14, std::make_unique<Brenk::Messages::BrenkPincodeMessagePayload>(pinFrame)));
    EXPECT_EQ(event.type, 14);
    EXPECT_EQ(event.data, "");
    EXPECT_EQ(log_.Count(plog::error, kNoCardText), 1);
}

TEST_F(EventsTest, APinEventWhosePayloadIsOfAnotherTypeIsStillDeliveredWithEmptyData) {
    const auto event = EventOf(MessageOf(22, std::make_unique<Brenk::Messages::BrenkGetStatusPayload>()));
    EXPECT_EQ(event.type, 22);
    EXPECT_EQ(event.data, "");
    EXPECT_EQ(log_.Count(plog::warning, "Payload type is not PinCode type. Current value: \x02"), 1) << log_.Text();
    EXPECT_EQ(log_.Count(plog::error, kNoPinText), 1);
    EXPECT_FALSE(log_.Holds(plog::error, "Current message payload is null."));
    ExpectNoPinLines();
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

TEST_F(EventsTest, EventsAreDeliveredWithoutAnyLock) {
    const TimedLocksFail fault;
    EXPECT_EQ(EventOf(Parsed(kCardEvent)).data, "04A1B2C3");
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(EventsTest, AnExceptionThrownAsAPointerInTheCallbackIsFreedAndTheNextEventIsHandled) {
    bool first = true;
    owner_.onEvent = [&first](const ReceivedEvent&) {
        if (std::exchange(first, false)) {
            throw new Brenk::ArgumentNullException;
        }
    };
    gateway_->ManageBrenkGatewayResponse(Parsed(kCardEvent).release(), 0);
    EXPECT_EQ(log_.Count(plog::error, "Exception in Brenk Response message loop. Manually releasing mutexes."), 1);
    EXPECT_FALSE(log_.Holds(plog::verbose, "Ended management."));
    gateway_->ManageBrenkGatewayResponse(Parsed(kPinEvent).release(), 0);
    EXPECT_EQ(owner_.Events().size(), 2U);
    EXPECT_EQ(log_.Count(plog::verbose, "Ended management."), 1);
}

TEST_F(EventsTest, EventsAndAnswersAreCalledBackOnTheReadThreadAlone) {
    ASSERT_NO_FATAL_FAILURE(BeReady());
    connection_.Send(ResultFrame(ReferenceIDOf(SendStatusRequest("request-1")), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    connection_.Send(kCardEvent);
    ASSERT_TRUE(owner_.WaitForEvents(1));
    EXPECT_EQ(owner_.Events().at(0).thread, owner_.Responses().at(0).thread);
    EXPECT_NE(owner_.Events().at(0).thread, std::this_thread::get_id());
}

// Glued frames do not end the socket's receiving, which goes on until its time-out of 11 s.
TEST_F(EventsTest, TwoFramesGluedIntoOneChunkAreBothHandledInOneCycleAfterTheReceiveTimeout) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    Bytes both = kCardEvent;
    both.insert(both.end(), kPinEvent.begin(), kPinEvent.end());
    connection_.Send(both);
    ASSERT_TRUE(WaitUntil([&] { return owner_.Events().size() == 2; }, std::chrono::seconds(40)));
    EXPECT_EQ(owner_.Events().at(0).data, "04A1B2C3");
    EXPECT_EQ(owner_.Events().back().data, "0102030F");
    EXPECT_EQ(log_.Count(plog::debug, "Received data but more than one data chunk must be handled."), 1);
    EXPECT_EQ(gateway_->Status(), Brenk::READY);
}

TEST_F(EventsTest, TwoFramesInOneReadAreBothHandledInTheSameCycleThoughTheConnectionEnds) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    Bytes both = kCardEvent;
    both.insert(both.end(), kPinEvent.begin(), kPinEvent.end());
    connection_.Send(both);
    connection_.Close();
    ASSERT_TRUE(owner_.WaitForEvents(2));
    EXPECT_EQ(owner_.Events().back().data, "0102030F");
}

}  // namespace
}  // namespace Testing
