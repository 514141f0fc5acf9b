#include "messages/BrenkLongTermActivationPayload.h"

#include <memory>

#include "messages/BigEndian.h"

namespace Brenk::Messages {

BrenkLongTermActivationPayload::BrenkLongTermActivationPayload(std::uint16_t firstValue, std::uint16_t secondValue)
    : BrenkMessagePayload(PayloadDataTypes::kLongTermActivation), firstValue_(firstValue), secondValue_(secondValue) {}

std::vector<unsigned char>* BrenkLongTermActivationPayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    AppendBigEndian16(*bytes, firstValue_);
    AppendBigEndian16(*bytes, secondValue_);
    return bytes.release();
}

}  // namespace Brenk::Messages
