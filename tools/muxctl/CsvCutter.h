#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Muxctl {

// Where something is in a text; both count from 1, columns in characters.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;
};

struct CsvField {
    // Without quotes, and outside of them without blanks around it.
    std::string text;
    TextPosition position;
};

using CsvRow = std::vector<CsvField>;

// Cuts CSV into rows: RFC 4180 with this separator. Line ends are LF or CRLF; empty lines are skipped.
//
// Refers to the text. Not thread-safe.
class CsvCutter {
  public:
    CsvCutter(std::string_view text, char separator) : text_(text), separator_(separator) {}

    // The next row; empty at the end of the text.
    CsvRow Next();
    // Whether the text ends within quotes; true only at its end.
    bool EndsInQuotes() const { return endsInQuotes_; }

  private:
    CsvRow Row();
    CsvField Field();
    std::string QuotedText();
    std::string PlainText();
    bool IsAtEnd() const { return at_ == text_.size(); }
    bool IsAtFieldEnd() const;
    bool IsAtLineEnd() const { return IsAtEnd() || text_.at(at_) == '\n'; }
    void SkipBlanks();
    char Take();

    std::string_view text_;
    char separator_;
    std::size_t at_ = 0;
    TextPosition position_;
    bool endsInQuotes_ = false;
};

}  // namespace Muxctl
