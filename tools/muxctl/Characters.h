#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace Muxctl {

// Texts as people see them, by characters of UTF-8 instead of bytes. Wide characters count as one. Any thread.

// Whether a byte goes on with a character.
inline bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

inline std::size_t CharacterCount(const std::string& text) {
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}

// The text with blanks behind it, so that it has at least this many characters.
inline std::string Padded(const std::string& text, std::size_t width) {
    const std::size_t count = CharacterCount(text);
    return text + std::string(width > count ? width - count : 0, ' ');
}

}  // namespace Muxctl
