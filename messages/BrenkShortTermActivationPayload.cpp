#include "messages/BrenkShortTermActivationPayload.h"

namespace Brenk::Messages {

BrenkShortTermActivationPayload::BrenkShortTermActivationPayload(std::uint8_t value)
    : BrenkMessagePayload(PayloadDataTypes::kShortTermActivation), value_(value) {}

std::vector<unsigned char>* BrenkShortTermActivationPayload::Serialize() {
    return new std::vector<unsigned char>{value_};
}

}  // namespace Brenk::Messages
