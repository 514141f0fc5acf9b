#include "proxy/audit/AuditText.h"

#include <algorithm>
#include <utility>

#include "json/Utf8.h"
#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {
namespace {

constexpr std::size_t kShownDigits = 4;

bool IsControlCharacter(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

std::string ShortCard(const std::string& digits) {
    const std::size_t shown = std::min(kShownDigits, digits.size() / 2);
    return digits.empty() ? "" : "*" + digits.substr(digits.size() - shown);
}

}  // namespace

std::string NumberText(const std::optional<std::int32_t>& number) {
    return number ? std::to_string(*number) : "";
}

std::string OneLine(const std::string& text) {
    std::string line = Json::InUtf8(text);
    std::replace_if(line.begin(), line.end(), IsControlCharacter, '?');
    return line;
}

AuditRow Storable(AuditRow row, bool wholeCards) {
    for (std::string* const text :
         {&row.kind, &row.client, &row.address, &row.operation, &row.card, &row.result, &row.remark}) {
        *text = OneLine(*text);
    }
    if (row.operation == kPinOperation) {
        row.card.clear();
    } else if (!wholeCards) {
        row.card = ShortCard(row.card);
    }
    return row;
}

std::string CsvField(const std::string& text) {
    const std::string line = OneLine(text);
    const bool isFormula = line.find_first_of("=+-@") == 0;
    std::string field = isFormula ? "'" + line : line;
    if (field.find_first_of(",\"") == std::string::npos) {
        return field;
    }
    std::string quoted = "\"";
    for (const char character : field) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
}

}  // namespace MuxProxy
