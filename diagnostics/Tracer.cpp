#include "diagnostics/Tracer.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <utility>

#include "diagnostics/Log.h"

namespace Diagnostics {
namespace {

std::atomic<std::uint8_t> shownCategories{0};
std::atomic<bool> colorsWanted{false};

void WriteToStandardOutput(std::string line) {
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stdout));
    static_cast<void>(std::fflush(stdout));
}

std::atomic<void (*)(std::string)> writeLine{WriteToStandardOutput};

struct LevelColor {
    Tracer::Level level;
    const char* escape;
};

constexpr LevelColor kColors[] = {
    {Tracer::Level::kInformation, "\x1B[32m"},
    {Tracer::Level::kWarning, "\x1B[33m"},
    {Tracer::Level::kDetail, "\x1B[90m"},
    {Tracer::Level::kError, "\x1B[31m"},
};
constexpr const char* kPlain = "\x1B[0m";

std::string Colored(std::string_view text, Tracer::Level level) {
    for (const LevelColor& color : kColors) {
        if (color.level == level) {
            return std::string(color.escape).append(text).append(kPlain);
        }
    }
    return std::string(text);
}

}  // namespace

void Tracer::Enable(std::uint8_t categories) {
    shownCategories |= categories;
}

std::uint8_t Tracer::Categories() {
    return shownCategories;
}

void Tracer::UseColors(bool colors) {
    colorsWanted = colors;
}

void Tracer::WriteWith(void (*write)(std::string line)) {
    writeLine = write;
}

void Tracer::WriteLine(std::string_view text, Level level) {
    if ((shownCategories & static_cast<std::uint8_t>(level)) == 0) {
        return;
    }
    const bool colored = colorsWanted && isatty(STDOUT_FILENO) != 0;
    std::string line = (colored ? Colored(text, level) : std::string(text)) + "\n";

    // A thread that is unwound here, or runs a handler that logs, would keep the console's lock.
    const LogCall call;
    writeLine.load()(std::move(line));
}

}  // namespace Diagnostics
