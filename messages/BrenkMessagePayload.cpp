#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

BrenkMessagePayload::BrenkMessagePayload(std::uint8_t dataType) : dataType_(dataType) {}

std::uint8_t BrenkMessagePayload::DataType() const {
    return dataType_;
}

std::vector<unsigned char>* BrenkMessagePayload::Serialize() {
    return new std::vector<unsigned char>;
}

}  // namespace Brenk::Messages
