#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Simulator {

// As much of a text as fits into this many columns, one per UTF-8 character. Control characters and invalid bytes
// become question marks.
std::string FitColumns(std::string_view text, std::size_t columns);

// The same, with a mark in the last column when the text does not fit.
std::string CutColumns(std::string_view text, std::size_t columns);

// The same, filled up with blanks.
std::string PadColumns(std::string_view text, std::size_t columns);

// The whole text in rows of so many columns, at least one of each.
std::vector<std::string> WrapColumns(std::string_view text, std::size_t columns);

// How many columns a text takes.
std::size_t ColumnsOf(std::string_view text);

}  // namespace Simulator
