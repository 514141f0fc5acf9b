#pragma once

#include <plog/Severity.h>

#include <string>

namespace Diagnostics {

// How lines look on a console. Immutable; any thread may use it.
class ConsoleStyle {
  public:
    // For what is open under `descriptor`. Colours are for terminals only.
    ConsoleStyle(int descriptor, bool colors);

    // What to write for a line of this severity. Only a terminal gets other bytes than those of the line: a text from
    // outside must not move its cursor, clear it or have it answer, so control characters other than line feed and
    // tab are shown as \xNN.
    std::string Styled(std::string line, plog::Severity severity) const;

  private:
    bool isTerminal_;
    bool isColored_;
};

}  // namespace Diagnostics
