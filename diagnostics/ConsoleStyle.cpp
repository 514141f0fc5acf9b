#include "diagnostics/ConsoleStyle.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "diagnostics/Text.h"

namespace Diagnostics {
namespace {

struct SeverityColor {
    plog::Severity severity;
    const char* escape;
};

constexpr SeverityColor kColors[] = {
    {plog::fatal, "\x1B[97m\x1B[41m"}, {plog::error, "\x1B[91m"},   {plog::warning, "\x1B[93m"},
    {plog::debug, "\x1B[96m"},         {plog::verbose, "\x1B[96m"},
};
constexpr const char* kPlain = "\x1B[0m\x1B[0K";

const char* ColorOf(plog::Severity severity) {
    for (const SeverityColor& color : kColors) {
        if (color.severity == severity) {
            return color.escape;
        }
    }
    return "";
}

// Well-formed UTF-8 by the first byte; the second may be narrowed, those behind it are 80 to BF.
struct CharacterForm {
    unsigned char firstLow;
    unsigned char firstHigh;
    unsigned char secondLow;
    unsigned char secondHigh;
    std::size_t length;
};

constexpr CharacterForm kForms[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

unsigned char ByteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text.at(index));
}

bool IsIn(unsigned char low, unsigned char byte, unsigned char high) {
    return low <= byte && byte <= high;
}

bool HasForm(std::string_view text, const CharacterForm& form) {
    if (!IsIn(form.firstLow, ByteAt(text, 0), form.firstHigh) || text.size() < form.length ||
        !IsIn(form.secondLow, ByteAt(text, 1), form.secondHigh)) {
        return false;
    }
    const std::string_view others = text.substr(2, form.length - 2);
    return std::all_of(others.begin(), others.end(),
                       [](char other) { return IsIn(0x80, static_cast<unsigned char>(other), 0xBF); });
}

// The length of the character that `text` begins with. A byte that is no UTF-8 stands alone.
std::size_t CharacterLength(std::string_view text) {
    for (const CharacterForm& form : kForms) {
        if (HasForm(text, form)) {
            return form.length;
        }
    }
    return 1;
}

// A control character of 8 bits counts in UTF-8 and on its own, for a terminal that knows no UTF-8. The bytes of other
// characters do not, whatever such a terminal makes of them.
bool IsControl(std::string_view character) {
    const unsigned char last = ByteAt(character, character.size() - 1);
    if (character.size() == 1) {
        return (last < ' ' && last != '\n' && last != '\t') || IsIn(0x7F, last, 0x9F);
    }
    return character.size() == 2 && ByteAt(character, 0) == 0xC2 && last < 0xA0;
}

bool MayHoldControls(const std::string& line) {
    return std::any_of(line.begin(), line.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte < ' ' && byte != '\n' && byte != '\t') || IsIn(0x7F, byte, 0x9F);
    });
}

std::string WithControlsShown(const std::string& line) {
    std::string shown;
    for (std::string_view rest = line; !rest.empty();) {
        const std::string_view character = rest.substr(0, CharacterLength(rest));
        if (IsControl(character)) {
            shown += "\\x" + BytesToHex({character.begin(), character.end()}, "\\x");
        } else {
            shown += character;
        }
        rest.remove_prefix(character.size());
    }
    return shown;
}

}  // namespace

ConsoleStyle::ConsoleStyle(int descriptor, bool colors)
    : isTerminal_(isatty(descriptor) != 0), isColored_(colors && isTerminal_) {}

std::string ConsoleStyle::Styled(std::string line, plog::Severity severity) const {
    if (isTerminal_ && MayHoldControls(line)) {
        line = WithControlsShown(line);
    }
    if (isColored_) {
        line = ColorOf(severity) + line + kPlain;
    }
    return line;
}

}  // namespace Diagnostics
