#include "tools/muxctl/OptionChecks.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "tools/client/Request.h"

namespace Muxctl {
namespace {

constexpr double kShortestTime = 0.001;
constexpr double kLongestTime = 86400;
// More would be out of range anyway.
constexpr std::size_t kLongestTimeText = 20;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool HasZeroInFront(const std::string& text) {
    const std::size_t digits = text.find_first_not_of('-');
    return digits != std::string::npos && text.at(digits) == '0' && text != "0";
}

std::optional<std::int64_t> ReadInteger(const std::string& text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    const bool isWhole = result.ec == std::errc() && result.ptr == end;
    return isWhole && !HasZeroInFront(text) ? std::make_optional(number) : std::nullopt;
}

bool IsDecimal(const std::string& text) {
    const auto digits = std::count_if(text.begin(), text.end(), IsDigit);
    const auto points = std::count(text.begin(), text.end(), '.');
    return digits > 0 && points <= 1 && digits + points == static_cast<std::ptrdiff_t>(text.size()) &&
           text.size() <= kLongestTimeText;
}

}  // namespace

std::string CheckInteger(const std::string& text, std::int64_t lowest, std::int64_t highest) {
    const std::optional<std::int64_t> number = ReadInteger(text);
    return number && *number >= lowest && *number <= highest
               ? ""
               : "must be a decimal integer from " + std::to_string(lowest) + " to " + std::to_string(highest) +
                     " (no leading zeros), not " + (text.empty() ? "empty" : text);
}

std::string CheckPort(const std::string& text) {
    return CheckInteger(text, 1, std::numeric_limits<std::uint16_t>::max());
}

std::string CheckId(const std::string& text) {
    return CheckInteger(text, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
}

std::string CheckSeconds(const std::string& text) {
    const double seconds = IsDecimal(text) ? std::stod(text) : 0;
    return seconds >= kShortestTime && seconds <= kLongestTime
               ? ""
               : "must be a decimal number from 0.001 to 86400, not " + text;
}

std::string CheckCard(const std::string& text) {
    const bool isHex = text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
    if (!isHex || text.empty() || text.size() % 2 != 0) {
        return "must be pairs of hexadecimal digits, not " + text;
    }
    return text.size() <= 2 * MuxClient::kLongestCardData
               ? ""
               : "must have at most " + std::to_string(MuxClient::kLongestCardData) + " bytes";
}

}  // namespace Muxctl
