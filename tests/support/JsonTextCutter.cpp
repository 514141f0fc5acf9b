#include "tests/support/JsonTextCutter.h"

#include <utility>

namespace Testing {
namespace {

// Follows the nesting of one object, character by character.
class ObjectEnd {
  public:
    // Returns whether the object ends with this character.
    bool EndsWith(char character) {
        if (inString_) {
            FollowString(character);
            return false;
        }
        inString_ = character == '"';
        depth_ += character == '{' ? 1 : 0;
        depth_ -= character == '}' ? 1 : 0;
        return depth_ == 0;
    }

  private:
    void FollowString(char character) {
        const bool wasEscaped = std::exchange(escaped_, false);
        if (!wasEscaped) {
            escaped_ = character == '\\';
            inString_ = character != '"';
        }
    }

    int depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
};

}  // namespace

std::optional<std::string> JsonTextCutter::Next() {
    if (buffer_.empty()) {
        return std::nullopt;
    }
    if (buffer_.front() != '{') {
        return std::exchange(buffer_, "");
    }
    ObjectEnd end;
    for (std::size_t index = 0; index < buffer_.size(); ++index) {
        if (end.EndsWith(buffer_[index])) {
            std::string text = buffer_.substr(0, index + 1);
            buffer_.erase(0, index + 1);
            return text;
        }
    }
    return std::nullopt;
}

}  // namespace Testing
