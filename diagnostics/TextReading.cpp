#include "diagnostics/TextReading.h"

#include <vector>

namespace Diagnostics {
namespace {

constexpr std::size_t kPart = 65536;

}  // namespace

const char* FaultText(TextReading reading) {
    return reading == TextReading::kTooLarge ? "cannot be read: it is larger than 64 MiB" : "cannot be read";
}

TextReading ReadText(std::istream& stream, std::string& text) {
    std::vector<char> part(kPart);
    text.clear();
    while (stream) {
        stream.read(part.data(), static_cast<std::streamsize>(part.size()));
        const auto count = static_cast<std::size_t>(stream.gcount());
        if (count > kLargestText - text.size()) {
            return TextReading::kTooLarge;
        }
        text.append(part.data(), count);
    }
    return stream.eof() && !stream.bad() ? TextReading::kWhole : TextReading::kFailed;
}

}  // namespace Diagnostics
