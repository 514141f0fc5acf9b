#include "messages/BrenkLongTermReleasePayload.h"

#include <memory>

#include "messages/BigEndian.h"

namespace Brenk::Messages {

BrenkLongTermReleasePayload::BrenkLongTermReleasePayload(std::uint16_t value)
    : BrenkMessagePayload(PayloadDataTypes::kLongTermRelease), value_(value) {}

std::vector<unsigned char>* BrenkLongTermReleasePayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    AppendBigEndian16(*bytes, value_);
    return bytes.release();
}

}  // namespace Brenk::Messages
