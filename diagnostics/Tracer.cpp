#include "diagnostics/Tracer.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace Diagnostics {
namespace {

std::atomic<std::uint8_t> shownCategories{0};
std::atomic<bool> colorsWanted{false};

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

std::string Colored(const std::string& text, Tracer::Level level) {
    for (const LevelColor& color : kColors) {
        if (color.level == level) {
            return color.escape + text + kPlain;
        }
    }
    return text;
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

void Tracer::WriteLine(const std::string& text, Level level) {
    if ((shownCategories & static_cast<std::uint8_t>(level)) == 0) {
        return;
    }
    const bool colored = colorsWanted && isatty(STDOUT_FILENO) != 0;
    const std::string line = (colored ? Colored(text, level) : text) + "\n";

    // Writing is a cancellation point, and a thread that is unwound here would keep the stream's lock.
    int previousCancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previousCancelState);
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stdout));
    static_cast<void>(std::fflush(stdout));
    pthread_setcancelstate(previousCancelState, nullptr);
}

}  // namespace Diagnostics
