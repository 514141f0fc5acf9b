#include "messages/AnswerPayloads.h"

#include "messages/Codes.h"
#include "messages/FrameLayout.h"
#include "messages/FrameReader.h"

namespace Brenk::Messages {

BrenkResponsePayload::BrenkResponsePayload(std::vector<unsigned char>& frame) {
    const FrameReader reader(frame);
    responseCode_ = reader.Byte(FrameLayout::kPayload);
    if (CarriesSequenceCounter()) {
        currentSequenceCounter_ = reader.BigEndian32(FrameLayout::kPayload + 1);
    }
}

std::uint8_t BrenkResponsePayload::ResponseCode() const {
    return responseCode_;
}

std::uint32_t BrenkResponsePayload::CurrentSequenceCounter() const {
    return currentSequenceCounter_;
}

std::vector<unsigned char>* BrenkResponsePayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    bytes->push_back(responseCode_);
    if (CarriesSequenceCounter()) {
        AppendBigEndian32(*bytes, currentSequenceCounter_);
    }
    return bytes.release();
}

bool BrenkResponsePayload::CarriesSequenceCounter() const {
    return responseCode_ == BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR;
}

BrenkGetStatusPayload::BrenkGetStatusPayload() : BrenkMessagePayload(PayloadDataTypes::kGetStatus) {}

BrenkGetStatusPayload::BrenkGetStatusPayload(std::vector<unsigned char>& frame) : BrenkGetStatusPayload() {
    if (!frame.empty()) {
        statusData_ = std::make_unique<const StatusBytes>(FrameReader(frame).Array<7>(FrameLayout::kPayload));
    }
}

BrenkGetStatusPayload::StatusBytes BrenkGetStatusPayload::StatusData() const {
    return statusData_ == nullptr ? StatusBytes{} : *statusData_;
}

}  // namespace Brenk::Messages
