#include "json/Reading.h"

#include <rapidjson/memorystream.h>

#include <algorithm>
#include <string>

namespace Json {
namespace {

// Every number with an exponent of minus this many digits or more is zero.
constexpr std::size_t kDigitsOfZero = 9;
constexpr const char* kExponentOfZero = "e-999999999";

// Where the string literal that begins at `quote` is over.
std::size_t EndOfString(std::string_view text, std::size_t quote) {
    std::size_t position = quote + 1;
    while (position < text.size() && text.at(position) != '"') {
        position += text.at(position) == '\\' ? 2 : 1;
    }
    return std::min(position + 1, text.size());
}

// Whether a part of the text looks like such an exponent. Few texts have one; all others are parsed as they came.
bool MayHaveLongExponent(std::string_view text) {
    for (std::size_t minus = text.find('-'); minus != std::string_view::npos; minus = text.find('-', minus + 1)) {
        const std::size_t end = std::min(text.find_first_not_of("0123456789", minus + 1), text.size());
        if (end - minus > kDigitsOfZero) {
            return true;
        }
    }
    return false;
}

bool IsNegativeExponent(std::string_view text, std::size_t position) {
    const char letter = text.at(position);
    return (letter == 'e' || letter == 'E') && position + 1 < text.size() && text.at(position + 1) == '-';
}

// Appends the exponent of `text` at `position` to `target` and returns where it is over.
std::size_t AppendExponent(std::string_view text, std::size_t position, std::string& target) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789", position + 2), text.size());
    const std::size_t firstDigit = std::min(text.find_first_not_of('0', position + 2), end);
    if (end - firstDigit >= kDigitsOfZero) {
        target += kExponentOfZero;
    } else {
        target.append(text, position, end - position);
    }
    return end;
}

// The library adds a number's exponent and its decimals up as an int. A long negative exponent takes that below what
// an int holds, and a table look-up far outside its table fails an assertion. A shorter one says the same number.
std::string WithShortExponents(std::string_view text) {
    std::string shortened;
    shortened.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        if (IsNegativeExponent(text, position)) {
            position = AppendExponent(text, position, shortened);
            continue;
        }
        const std::size_t end = text.at(position) == '"' ? EndOfString(text, position) : position + 1;
        shortened.append(text, position, end - position);
        position = end;
    }
    return shortened;
}

}  // namespace

bool Parse(std::string_view text, rapidjson::Document& document) {
    const std::string shortened = MayHaveLongExponent(text) ? WithShortExponents(text) : std::string();
    const std::string_view parsedText = shortened.empty() ? text : shortened;
    rapidjson::MemoryStream stream(parsedText.data(), parsedText.size());
    document.ParseStream(stream);
    // The parser takes a NUL for the end of the text; one inside the text is no JSON.
    const bool parsed = !document.HasParseError() && stream.Tell() == parsedText.size();
    if (!parsed) {
        document.SetNull();
    }
    return parsed;
}

const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name) {
    const auto member = object.FindMember(name);
    return member != object.MemberEnd() ? &member->value : nullptr;
}

}  // namespace Json
