#pragma once

#include <string_view>
#include <vector>

namespace Muxctl {

// Returns the one of `known` that `word` is most likely a misspelling of: upper and lower case are the same, and one
// character in three may be wrong, missing, too many or swapped with its neighbour. Failing that, the first that begins
// with `word`. Empty when none is near. The result is a view of an element of `known`. Any thread may call it.
std::string_view NearestWord(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace Muxctl
