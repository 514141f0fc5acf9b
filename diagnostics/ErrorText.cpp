#include "diagnostics/ErrorText.h"

#include <array>
#include <cstring>

namespace Diagnostics {

std::string ErrorText(int errorNumber) {
    std::array<char, 128> buffer{};
    const std::string text = strerror_r(errorNumber, buffer.data(), buffer.size());
    return text.empty() ? "(null)" : text;
}

}  // namespace Diagnostics
