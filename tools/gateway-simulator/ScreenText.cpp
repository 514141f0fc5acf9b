#include "tools/gateway-simulator/ScreenText.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Simulator {
namespace {

bool IsContinuation(char character) {
    return (static_cast<std::uint8_t>(character) & 0xC0U) == 0x80U;
}

// How many bytes the character has that begins with this one; 0 for a byte that none begins with.
std::size_t LengthFrom(std::uint8_t lead) {
    if (lead < 0x80) {
        return 1;
    }
    return lead >= 0xF0 ? (lead < 0xF5 ? 4 : 0) : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
}

// The first character of a text that has one; a single byte when it is none.
std::string_view FirstCharacter(std::string_view text) {
    const std::size_t length = LengthFrom(static_cast<std::uint8_t>(text.front()));
    const std::string_view whole = text.substr(0, std::max<std::size_t>(length, 1));
    const bool isWhole = whole.size() == length && std::all_of(whole.begin() + 1, whole.end(), IsContinuation);
    return isWhole ? whole : text.substr(0, 1);
}

bool IsPrintable(std::string_view character) {
    const auto lead = static_cast<std::uint8_t>(character.front());
    // U+0080 to U+009F are control characters too.
    const bool isHighControl =
        character.size() == 2 && lead == 0xC2 && static_cast<std::uint8_t>(character.back()) < 0xA0;
    return character.size() == 1 ? lead >= 0x20 && lead < 0x7F : !isHighControl;
}

constexpr char kCutMark = '>';

struct Fitted {
    std::string text;
    std::size_t columns = 0;
    // What did not fit.
    std::string_view rest;
};

Fitted Fit(std::string_view text, std::size_t columns) {
    Fitted fitted;
    while (!text.empty() && fitted.columns < columns) {
        const std::string_view character = FirstCharacter(text);
        fitted.text += IsPrintable(character) ? character : "?";
        ++fitted.columns;
        text.remove_prefix(character.size());
    }
    fitted.rest = text;
    return fitted;
}

}  // namespace

std::string FitColumns(std::string_view text, std::size_t columns) {
    return Fit(text, columns).text;
}

std::string CutColumns(std::string_view text, std::size_t columns) {
    const Fitted fitted = Fit(text, columns);
    return columns == 0 || fitted.rest.empty() ? fitted.text : FitColumns(text, columns - 1) + kCutMark;
}

std::string PadColumns(std::string_view text, std::size_t columns) {
    const std::string cut = CutColumns(text, columns);
    return cut + std::string(columns - ColumnsOf(cut), ' ');
}

std::vector<std::string> WrapColumns(std::string_view text, std::size_t columns) {
    std::vector<std::string> rows;
    do {
        const Fitted fitted = Fit(text, std::max<std::size_t>(columns, 1));
        rows.push_back(fitted.text);
        text = fitted.rest;
    } while (!text.empty());
    return rows;
}

std::size_t ColumnsOf(std::string_view text) {
    return Fit(text, std::numeric_limits<std::size_t>::max()).columns;
}

}  // namespace Simulator
