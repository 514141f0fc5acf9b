#include "messages/BrenkException.h"

namespace Brenk {

BrenkException::BrenkException(const char* text) : text_(text) {}

const char* BrenkException::what() const noexcept {
    return text_;
}

}  // namespace Brenk
