#pragma once

#include <array>

namespace Diagnostics {

// What a catch-all says of the exception that it handles. Needs no memory, so a catch-all can say it when that is what
// has run out.
class CaughtException {
  public:
    // To be made once, inside the handler, on the thread that caught. The program's own exceptions are thrown as
    // pointers to new objects; such an object is freed here.
    CaughtException() noexcept;

    // Lives as long as this. A text of more than 255 bytes is cut.
    const char* Text() const { return text_.data(); }

  private:
    void Keep(const char* text);

    std::array<char, 256> text_{};
};

}  // namespace Diagnostics
