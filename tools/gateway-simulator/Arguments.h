#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/Bytes.h"

namespace Simulator {

// Takes the words of a command line one after the other. Every method throws CommandError when the next word is
// missing or is not what it should be; `what` is the word's name in that text, as in "ADDRESS".
class Arguments {
  public:
    // Words are separated by blanks or tabs; a word that begins with # ends the line.
    explicit Arguments(std::string_view line);

    bool IsEmpty() const { return next_ == words_.size(); }
    // The next word without taking it, empty when there is none.
    std::string Peek() const { return IsEmpty() ? std::string() : words_.at(next_); }

    // Takes the next word if it is this one.
    bool TakeIf(std::string_view word);

    std::string Word(const char* what);
    // Decimal, or hexadecimal after 0x.
    std::uint32_t Number(const char* what, std::uint32_t largest = std::numeric_limits<std::uint32_t>::max());
    std::uint8_t Byte(const char* what);
    // Nothing for the word "any".
    std::optional<std::uint8_t> ByteOrAny(const char* what);
    // Bytes in hexadecimal, at most `longest` of them.
    Bytes Hex(const char* what, std::size_t longest);
    // Exactly seven bytes in hexadecimal.
    std::array<std::uint8_t, 7> SevenBytes(const char* what);
    // Decimal digits, at most `longest` of them.
    std::string Digits(const char* what, std::size_t longest);
    bool OnOrOff(const char* what);
    // Makes sure that nothing is left over.
    void End() const;

  private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

}  // namespace Simulator
