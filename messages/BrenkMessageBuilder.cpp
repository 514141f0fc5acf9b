#include "messages/BrenkMessageBuilder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "diagnostics/Log.h"
#include "messages/AnswerPayloads.h"
#include "messages/Codes.h"
#include "messages/EventPayloads.h"
#include "messages/FrameLayout.h"
#include "messages/RequestPayloads.h"

namespace Brenk::Messages {
namespace {

using Frame = std::vector<unsigned char>;

template <typename Payload>
std::unique_ptr<BrenkMessagePayload> Read(Frame& frame) {
    return std::make_unique<Payload>(frame);
}

struct IncomingPayload {
    std::uint8_t payloadType;
    std::unique_ptr<BrenkMessagePayload> (*read)(Frame& frame);
};

constexpr std::array<IncomingPayload, 5> kIncomingPayloads = {{
    {CommandCodes::kResponse, Read<BrenkResponsePayload>},
    {CommandCodes::kGetStatus, Read<BrenkGetStatusPayload>},
    {CommandCodes::kCardReaderEvent, Read<BrenkCardReaderMessagePayload>},
    {CommandCodes::kCardAccessEvent, Read<BrenkCardReaderMessagePayload>},
    {CommandCodes::kPincodeEvent, Read<BrenkPincodeMessagePayload>},
}};

std::unique_ptr<BrenkMessagePayload> ReadPayload(std::uint8_t payloadType, Frame& frame) {
    const auto* const row =
        std::find_if(kIncomingPayloads.begin(), kIncomingPayloads.end(),
                     [payloadType](const IncomingPayload& incoming) { return incoming.payloadType == payloadType; });
    return row == kIncomingPayloads.end() ? nullptr : row->read(frame);
}

std::size_t LengthOf(BrenkMessagePayload* payload) {
    if (payload == nullptr) {
        return 0;
    }
    const std::unique_ptr<Frame> bytes(payload->Serialize());
    return bytes->size();
}

std::uint8_t ReferenceIDAfter(std::uint8_t referenceID) {
    const auto next = static_cast<std::uint8_t>(referenceID + 1);
    return next > FrameLayout::kHighestReferenceID ? std::uint8_t{1} : next;
}

}  // namespace

BrenkMessageBuilder::BrenkMessageBuilder(std::uint32_t sequenceCounter, std::uint8_t referenceID)
    : counters_{sequenceCounter, referenceID, 0} {}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildGetStatus(std::uint32_t deviceAddress) {
    return Build(deviceAddress, CommandCodes::kGetStatus, std::make_unique<BrenkGetStatusPayload>());
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildShortTermActivation(std::uint32_t deviceAddress,
                                                                            std::uint8_t value, bool answersEvent) {
    return Build(deviceAddress, CommandCodes::ForEventAnswer(CommandCodes::kShortTermActivation, answersEvent),
                 std::make_unique<BrenkShortTermActivationPayload>(value));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildLongTermActivation(std::uint32_t deviceAddress,
                                                                           std::uint16_t firstValue,
                                                                           std::uint16_t secondValue,
                                                                           bool answersEvent) {
    return Build(deviceAddress, CommandCodes::ForEventAnswer(CommandCodes::kLongTermActivation, answersEvent),
                 std::make_unique<BrenkLongTermActivationPayload>(firstValue, secondValue));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildLongTermRelease(std::uint32_t deviceAddress,
                                                                        std::uint16_t value, bool answersEvent) {
    return Build(deviceAddress, CommandCodes::ForEventAnswer(CommandCodes::kLongTermRelease, answersEvent),
                 std::make_unique<BrenkLongTermReleasePayload>(value));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildAccessDenied(std::uint32_t deviceAddress, bool answersEvent) {
    return Build(deviceAddress, CommandCodes::ForEventAnswer(CommandCodes::kAccessDenied, answersEvent),
                 std::make_unique<BrenkDeviceOnlyPayload>(PayloadDataTypes::kAccessDeniedRequest));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildAddToWhitelist(std::uint32_t deviceAddress, bool uidMode,
                                                                       std::uint8_t setupNumber, std::uint8_t option,
                                                                       std::vector<unsigned char>& cardData) {
    return Build(deviceAddress, CommandCodes::kAddToWhitelist,
                 std::make_unique<BrenkAddOrRemoveFromWhitelistPayload>(uidMode, setupNumber, option, cardData));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildRemoveFromWhitelist(std::uint32_t deviceAddress, bool uidMode,
                                                                            std::uint8_t setupNumber,
                                                                            std::uint8_t /*option*/,
                                                                            std::vector<unsigned char>& cardData) {
    constexpr std::uint8_t kNoOption = 0;
    return Build(deviceAddress, CommandCodes::kRemoveFromWhitelist,
                 std::make_unique<BrenkAddOrRemoveFromWhitelistPayload>(uidMode, setupNumber, kNoOption, cardData));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildClearWhitelist(std::uint32_t deviceAddress) {
    return Build(deviceAddress, CommandCodes::kDeleteWholeWhitelist, std::make_unique<BrenkMessagePayload>());
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildEnableWhitelist(std::uint32_t deviceAddress) {
    return Build(deviceAddress, CommandCodes::kEnableWhitelist,
                 std::make_unique<BrenkDeviceOnlyPayload>(PayloadDataTypes::kEnableWhitelistRequest));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::BuildDisableWhitelist(std::uint32_t deviceAddress) {
    return Build(deviceAddress, CommandCodes::kDisableWhitelist,
                 std::make_unique<BrenkDeviceOnlyPayload>(PayloadDataTypes::kDisableWhitelistRequest));
}

std::unique_ptr<BrenkMessage> BrenkMessageBuilder::Build(std::uint32_t deviceAddress, std::uint8_t payloadType,
                                                         std::unique_ptr<BrenkMessagePayload> payload) {
    std::unique_ptr<BrenkMessage> message(BuildBaseMessage(deviceAddress, payloadType, payload.get()));
    if (message != nullptr) {
        static_cast<void>(payload.release());
    }
    return message;
}

BrenkMessage* BrenkMessageBuilder::BuildBaseMessage(std::uint32_t deviceAddress, std::uint8_t payloadType,
                                                    BrenkMessagePayload* payload) {
    const Diagnostics::LogOperation operation(
        "Brenk::Messages::BrenkMessage* Brenk::Messages::BrenkMessageBuilder::BuildBaseMessage(uint32_t, uint8_t, "
        "Brenk::Messages::BrenkMessagePayload*)");
    const std::size_t payloadLength = LengthOf(payload);
    const Counters counters = Snapshot();

    BrenkFrameHeader header;
    header.deviceAddress = deviceAddress;
    header.payloadType = payloadType;
    header.magic1 = FrameLayout::kMagicByte1;
    header.magic2 = FrameLayout::kMagicByte2;
    header.headerVersion = FrameLayout::kCurrentHeaderVersion;
    header.totalLength = static_cast<std::uint8_t>(payloadLength + FrameLayout::kTotalLengthWithoutPayload);
    header.remainingLength = static_cast<std::uint8_t>(payloadLength + FrameLayout::kRemainingLengthWithoutPayload);
    if (counters.referenceID <= FrameLayout::kHighestReferenceID) {
        header.referenceID = counters.referenceID;
    } else {
        MUX_LOG(plog::error) << "ReferenceID out of scope.";
    }
    header.sequenceCounter = counters.sequenceCounter + 1;

    auto message = std::make_unique<BrenkMessage>(header);
    message->AttachPayload(std::unique_ptr<BrenkMessagePayload>(payload));
    return message.release();
}

BrenkMessage* BrenkMessageBuilder::Parse(std::vector<unsigned char>& frame) {
    MUX_OPERATION();
    auto message = std::make_unique<BrenkMessage>(BrenkFrameHeader::Read(frame));
    std::unique_ptr<BrenkMessagePayload> payload = ReadPayload(message->PayloadType(), frame);
    if (payload != nullptr) {
        // The byte itself goes into the line, as one character: operators search the log for it.
        MUX_LOG(plog::verbose) << "Attached payload data to message. Payload data type: " << payload->DataType();
        message->AttachPayload(std::move(payload));
    }
    return message.release();
}

void BrenkMessageBuilder::IncrementReferenceID() {
    const std::lock_guard<std::mutex> lock(mutex_);
    counters_.referenceID = ReferenceIDAfter(counters_.referenceID);
}

void BrenkMessageBuilder::IncrementSequenceCounter() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counters_.sequenceCounter;
}

std::uint8_t BrenkMessageBuilder::ReferenceID() const {
    return Snapshot().referenceID;
}

std::uint32_t BrenkMessageBuilder::SequenceCounter() const {
    return Snapshot().sequenceCounter;
}

void BrenkMessageBuilder::StoreSequenceCounter(std::uint32_t announced) {
    const std::lock_guard<std::mutex> lock(mutex_);
    counters_.sequenceCounter = announced;
    ++counters_.announcements;
}

SendTicket BrenkMessageBuilder::BeginSend() const {
    return SendTicket(Snapshot().announcements);
}

void BrenkMessageBuilder::AdvanceAfterSend(const SendTicket& ticket) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (counters_.announcements == ticket.Announcements()) {
        ++counters_.sequenceCounter;
    }
    counters_.referenceID = ReferenceIDAfter(counters_.referenceID);
}

BrenkMessageBuilder::Counters BrenkMessageBuilder::Snapshot() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counters_;
}

}  // namespace Brenk::Messages
