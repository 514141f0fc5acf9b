#include "tools/muxctl/CsvCutter.h"

#include "tools/muxctl/Characters.h"

namespace Muxctl {
namespace {

bool IsBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r';
}

}  // namespace

CsvRow CsvCutter::Next() {
    CsvRow row;
    while (row.empty() && !IsAtEnd()) {
        row = Row();
        const bool isEmptyLine = row.size() == 1 && row.front().text.empty();
        if (isEmptyLine) {
            row.clear();
        }
    }
    return row;
}

CsvRow CsvCutter::Row() {
    CsvRow row = {Field()};
    while (!IsAtLineEnd()) {
        Take();
        row.push_back(Field());
    }
    if (!IsAtEnd()) {
        Take();
    }
    return row;
}

CsvField CsvCutter::Field() {
    SkipBlanks();
    CsvField field;
    field.position = position_;
    if (!IsAtEnd() && text_.at(at_) == '"') {
        field.text = QuotedText();
    }
    field.text += PlainText();
    return field;
}

std::string CsvCutter::QuotedText() {
    std::string quoted;
    Take();
    while (!IsAtEnd()) {
        const char character = Take();
        const bool isDoubled = character == '"' && !IsAtEnd() && text_.at(at_) == '"';
        if (character == '"' && !isDoubled) {
            return quoted;
        }
        quoted += isDoubled ? Take() : character;
    }
    endsInQuotes_ = true;
    return quoted;
}

std::string CsvCutter::PlainText() {
    std::string plain;
    while (!IsAtFieldEnd()) {
        plain += Take();
    }
    while (!plain.empty() && IsBlank(plain.back())) {
        plain.pop_back();
    }
    return plain;
}

bool CsvCutter::IsAtFieldEnd() const {
    return IsAtLineEnd() || text_.at(at_) == separator_;
}

void CsvCutter::SkipBlanks() {
    while (!IsAtFieldEnd() && IsBlank(text_.at(at_))) {
        Take();
    }
}

char CsvCutter::Take() {
    const char character = text_.at(at_++);
    if (character == '\n') {
        ++position_.line;
        position_.column = 1;
    } else if (!IsContinuation(character)) {
        ++position_.column;
    }
    return character;
}

}  // namespace Muxctl
