#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace MuxProxy {

// Where the values of a JSON text stand, for findings. A value.
class JsonPositions {
  public:
    // Both from 1; a column counts bytes.
    struct Position {
        std::size_t line = 1;
        std::size_t column = 1;
    };

    // Of a text that is JSON. Stack use does not depend on nesting.
    explicit JsonPositions(std::string_view text);

    // Of the value with this pointer (RFC 6901, such as "/Rules/0/Rights"): of a member its name, of an element its
    // first character. Of a pointer that is not in the text: that of what should contain it.
    Position At(std::string pointer) const;

  private:
    std::string_view text_;
    std::map<std::string, std::size_t> offsets_;
};

}  // namespace MuxProxy
