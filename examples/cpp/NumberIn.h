#pragma once

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string>

// An argument as a number that is not below `lowest`. Throws std::invalid_argument.
template <typename Number>
Number NumberIn(const std::string& text, Number lowest) {
    const char* const end = text.data() + text.size();
    Number number = 0;
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < lowest) {
        throw std::invalid_argument("\"" + text + "\" is not a number from " + std::to_string(lowest) + " to " +
                                    std::to_string(std::numeric_limits<Number>::max()));
    }
    return number;
}
