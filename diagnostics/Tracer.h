#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Diagnostics {

// Lines for a person at the console, separate from the log: written to standard output only, and only if the category
// of their level is enabled. All categories are off at start; "--debug" enables kDebugCategories.
class Tracer {
  public:
    // The level of a line is the category bit that shows it.
    enum class Level : std::uint8_t { kInformation = 0x01, kWarning = 0x02, kDetail = 0x04, kError = 0x08 };

    static constexpr std::uint8_t kDebugCategories = 0x0B;

    // Adds categories to those shown. Any thread.
    static void Enable(std::uint8_t categories);
    static std::uint8_t Categories();

    // Colours are off at start; they are used only when standard output is a terminal as well.
    static void UseColors(bool colors);

    // What prints a line, its end included; standard output, waiting for its reader, until this is called. Called
    // once, before there is another thread.
    static void WriteWith(void (*write)(std::string line));

    // Prints the text and a line break in the colour of its level. Any thread; lines of different threads do not mix.
    static void WriteLine(std::string_view text, Level level);
};

}  // namespace Diagnostics
