#include "benchmarks/load/AnswerCutter.h"

#include <stdexcept>
#include <utility>

namespace Load {

void AnswerCutter::Feed(std::string_view received, const Deliver& deliver) {
    for (const char character : received) {
        if (text_.empty() && character != '{') {
            throw std::runtime_error("the server sent something that is no JSON object");
        }
        text_ += character;
        if (EndsWith(character)) {
            deliver(std::exchange(text_, ""));
        }
    }
}

bool AnswerCutter::EndsWith(char character) {
    if (inString_) {
        FollowString(character);
        return false;
    }
    inString_ = character == '"';
    depth_ += character == '{' ? 1 : 0;
    depth_ -= character == '}' ? 1 : 0;
    return depth_ == 0;
}

void AnswerCutter::FollowString(char character) {
    const bool wasEscaped = std::exchange(escaped_, false);
    if (!wasEscaped) {
        escaped_ = character == '\\';
        inString_ = character != '"';
    }
}

}  // namespace Load
