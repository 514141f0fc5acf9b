#include "messages/BrenkPincodeMessagePayload.h"

#include <memory>

namespace Brenk::Messages {

std::vector<unsigned char>* BrenkPincodeMessagePayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    bytes->insert(bytes->end(), EventHeader().begin(), EventHeader().end());
    bytes->insert(bytes->end(), EventBytes().begin(), EventBytes().end());
    bytes->push_back(static_cast<unsigned char>(Data().size()));
    bytes->insert(bytes->end(), Data().begin(), Data().end());
    return bytes.release();
}

}  // namespace Brenk::Messages
