#include "messages/RequestPayloads.h"

#include <algorithm>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "messages/FrameReader.h"

namespace Brenk::Messages {
namespace {

constexpr std::size_t kUidLength = 10;

std::unique_ptr<std::uint8_t[]> ArrayOf(const std::vector<unsigned char>& bytes) {
    auto array = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), array.get());
    return array;
}

}  // namespace

BrenkShortTermActivationPayload::BrenkShortTermActivationPayload(std::uint8_t value)
    : BrenkMessagePayload(PayloadDataTypes::kShortTermActivation), value_(value) {}

std::vector<unsigned char>* BrenkShortTermActivationPayload::Serialize() {
    return new std::vector<unsigned char>{value_};
}

BrenkLongTermActivationPayload::BrenkLongTermActivationPayload(std::uint16_t firstValue, std::uint16_t secondValue)
    : BrenkMessagePayload(PayloadDataTypes::kLongTermActivation), firstValue_(firstValue), secondValue_(secondValue) {}

std::vector<unsigned char>* BrenkLongTermActivationPayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    AppendBigEndian16(*bytes, firstValue_);
    AppendBigEndian16(*bytes, secondValue_);
    return bytes.release();
}

BrenkLongTermReleasePayload::BrenkLongTermReleasePayload(std::uint16_t value)
    : BrenkMessagePayload(PayloadDataTypes::kLongTermRelease), value_(value) {}

std::vector<unsigned char>* BrenkLongTermReleasePayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    AppendBigEndian16(*bytes, value_);
    return bytes.release();
}

BrenkAddOrRemoveFromWhitelistPayload::BrenkAddOrRemoveFromWhitelistPayload(bool uidMode, std::uint8_t setupNumber,
                                                                           std::uint8_t whitelistOption,
                                                                           std::vector<unsigned char>& cardData)
    : setupNumber_(setupNumber),
      whitelistOption_(whitelistOption),
      cardDataLength_(static_cast<std::uint8_t>(setupNumber == 0 && uidMode ? kUidLength : cardData.size())),
      cardData_(setupNumber == 0 ? GenerateUIDData(uidMode, cardData) : ArrayOf(cardData).release()) {
    MUX_OPERATION();
    if (cardData_ == nullptr) {
        MUX_LOG(plog::warning) << "Message card data bytes are null. This means no valid data was provided. Whitelist "
                                  "message payload will be filled with dummy data, so Brenk Gateway will return a "
                                  "correlated error for the request.";
        cardDataLength_ = 0;
        cardData_ = std::make_unique<std::uint8_t[]>(1);
    }
}

std::vector<unsigned char>* BrenkAddOrRemoveFromWhitelistPayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    bytes->push_back(setupNumber_);
    bytes->push_back(whitelistOption_);
    bytes->push_back(cardDataLength_);
    bytes->insert(bytes->end(), cardData_.get(), cardData_.get() + cardDataLength_);
    return bytes.release();
}

std::uint8_t* BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(bool uidMode, std::vector<unsigned char> data) {
    MUX_OPERATION();
    if (data.empty()) {
        MUX_LOG(plog::error) << "Whitelist card UUID vector is empty. Cannot request message.";
        return nullptr;
    }
    if (!uidMode) {
        MUX_LOG(plog::debug) << "Card data is not UID mode. So the data will be simply copied.";
        return ArrayOf(data).release();
    }
    if (data.size() > kUidLength) {
        MUX_LOG(plog::warning) << "Invalid card data. Whitelist message cannot be processed.";
        return nullptr;
    }
    MUX_LOG(plog::debug) << "Card data is of valid dimension for UID mode. The data will be simply copied.";
    std::reverse(data.begin(), data.end());
    if (data.size() == kUidLength) {
        MUX_LOG(plog::debug) << "Card data is of UID mode length. A simple copy of the data will be done.";
    } else {
        MUX_LOG(plog::debug) << "The data isn't of UID mode length. It will be zero filled.";
        data.insert(data.begin(), kUidLength - data.size(), 0);
        MUX_LOG(plog::debug) << "The card data converted in BRENK Message data is " << Diagnostics::BytesToHex(data);
    }
    return ArrayOf(data).release();
}

}  // namespace Brenk::Messages
