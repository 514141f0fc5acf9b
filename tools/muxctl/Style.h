#pragma once

#include <string>

namespace Muxctl {

enum class Colour { kRed, kGreen, kYellow, kCyan };

// Puts colours into text, or leaves it as it is.
class Style {
  public:
    explicit Style(bool isColoured) : isColoured_(isColoured) {}

    std::string Paint(Colour colour, const std::string& text) const;

  private:
    bool isColoured_;
};

// `text` with every control character replaced by a question mark: what comes from elsewhere must not steer a terminal
// or break a line.
std::string Printable(const std::string& text);

}  // namespace Muxctl
