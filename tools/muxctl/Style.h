#pragma once

#include <string>

namespace Muxctl {

// What a terminal can show a text in, by its number in a control sequence.
enum class Colour { kRed = 31, kGreen = 32, kYellow = 33, kCyan = 36 };

// Puts colours into text, or leaves it as it is. A value; any thread may call its method.
class Style {
  public:
    explicit Style(bool isColoured) : isColoured_(isColoured) {}

    // `text` between the control sequences that switch the bold colour on and off; `text` itself without colours.
    std::string Paint(Colour colour, const std::string& text) const;

  private:
    bool isColoured_;
};

// `text` with every control character replaced by a question mark: what comes from elsewhere must not steer a terminal
// or break a line.
std::string Printable(const std::string& text);

}  // namespace Muxctl
