#include "tools/gateway-simulator/Arguments.h"

#include <algorithm>
#include <charconv>
#include <sstream>

#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {
namespace {

std::string Quoted(const std::string& word) {
    return "\"" + word + "\"";
}

// Nothing when `word` is no number or does not fit 32 bits.
std::optional<std::uint32_t> ParseNumber(std::string_view word) {
    const bool isHex = word.substr(0, 2) == "0x";
    const std::string_view digits = isHex ? word.substr(2) : word;
    std::uint32_t number = 0;
    const char* end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, number, isHex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end ? std::make_optional(number) : std::nullopt;
}

}  // namespace

Arguments::Arguments(std::string_view line) {
    std::istringstream input{std::string(line)};
    for (std::string word; input >> word && word.front() != '#';) {
        words_.push_back(word);
    }
}

bool Arguments::TakeIf(std::string_view word) {
    const bool isNext = !IsEmpty() && words_.at(next_) == word;
    next_ += isNext ? 1 : 0;
    return isNext;
}

std::string Arguments::Word(const char* what) {
    if (IsEmpty()) {
        throw CommandError(std::string(what) + " is missing");
    }
    return words_.at(next_++);
}

std::uint32_t Arguments::Number(const char* what, std::uint32_t largest) {
    const std::string word = Word(what);
    const std::optional<std::uint32_t> number = ParseNumber(word);
    if (!number || *number > largest) {
        throw CommandError(std::string(what) + " must be a number from 0 to " + std::to_string(largest) + ", not " +
                           Quoted(word));
    }
    return *number;
}

std::uint8_t Arguments::Byte(const char* what) {
    return static_cast<std::uint8_t>(Number(what, std::numeric_limits<std::uint8_t>::max()));
}

std::optional<std::uint8_t> Arguments::ByteOrAny(const char* what) {
    return TakeIf("any") ? std::nullopt : std::make_optional(Byte(what));
}

Bytes Arguments::Hex(const char* what, std::size_t longest) {
    const std::string word = Word(what);
    const std::optional<Bytes> bytes = FromHex(word);
    if (!bytes) {
        throw CommandError(std::string(what) + " must be pairs of hexadecimal digits, not " + Quoted(word));
    }
    if (bytes->size() > longest) {
        throw CommandError(std::string(what) + " must not have more than " + std::to_string(longest) + " bytes");
    }
    return *bytes;
}

std::array<std::uint8_t, 7> Arguments::SevenBytes(const char* what) {
    std::array<std::uint8_t, 7> seven = {};
    const Bytes bytes = Hex(what, seven.size());
    if (bytes.size() != seven.size()) {
        throw CommandError(std::string(what) + " must have 7 bytes");
    }
    std::copy(bytes.begin(), bytes.end(), seven.begin());
    return seven;
}

std::string Arguments::Digits(const char* what, std::size_t longest) {
    std::string word = Word(what);
    if (word.find_first_not_of("0123456789") != std::string::npos || word.size() > longest) {
        throw CommandError(std::string(what) + " must be at most " + std::to_string(longest) + " digits, not " +
                           Quoted(word));
    }
    return word;
}

bool Arguments::OnOrOff(const char* what) {
    const std::string word = Word(what);
    if (word != "on" && word != "off") {
        throw CommandError(std::string(what) + " must be on or off, not " + Quoted(word));
    }
    return word == "on";
}

void Arguments::End() const {
    if (!IsEmpty()) {
        throw CommandError("unexpected argument " + Quoted(Peek()));
    }
}

}  // namespace Simulator
