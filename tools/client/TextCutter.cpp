#include "tools/client/TextCutter.h"

#include <algorithm>
#include <utility>

#include "tools/client/Errors.h"

namespace MuxClient {

std::optional<std::string> TextCutter::Next() {
    if (position_ == 0) {
        DropWhiteSpace();
    }
    while (position_ < buffer_.size()) {
        if (EndsWith(buffer_.at(position_++))) {
            std::string text = buffer_.substr(0, position_);
            buffer_.erase(0, std::exchange(position_, 0));
            return text;
        }
    }
    if (buffer_.size() > kLongestMessage) {
        throw ProtocolError("a message exceeds " + std::to_string(kLongestMessage) + " bytes");
    }
    return std::nullopt;
}

void TextCutter::DropWhiteSpace() {
    buffer_.erase(0, std::min(buffer_.find_first_not_of(" \t\r\n"), buffer_.size()));
    if (!buffer_.empty() && buffer_.front() != '{') {
        throw ProtocolError("the received data is not a JSON object");
    }
}

bool TextCutter::EndsWith(char character) {
    if (inString_) {
        FollowString(character);
        return false;
    }
    inString_ = character == '"';
    depth_ += character == '{' ? 1 : 0;
    depth_ -= character == '}' ? 1 : 0;
    return depth_ == 0;
}

void TextCutter::FollowString(char character) {
    const bool wasEscaped = std::exchange(escaped_, false);
    if (!wasEscaped) {
        escaped_ = character == '\\';
        inString_ = character != '"';
    }
}

}  // namespace MuxClient
