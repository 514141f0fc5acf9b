#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/gateway-simulator/GatewayStatus.h"

namespace Simulator {

// All that the screen shows.
struct ScreenState {
    std::vector<GatewayView> gateways;
    // Output of commands, oldest first, and how many lines the user has scrolled back.
    std::vector<std::string> messages;
    std::size_t scrolled = 0;
    // In front of the line that is typed, which follows with its cursor as an offset.
    std::string prompt;
    std::string input;
    std::size_t cursor = 0;
};

struct ScreenSize {
    std::size_t width = 80;
    std::size_t height = 24;
};

struct ScreenLine {
    enum class Style { kPlain, kTitle, kGateway };

    std::string text;
    Style style = Style::kPlain;
};

// The content of the screen and the position of the cursor.
struct Screen {
    // One for each row, none wider than the screen.
    std::vector<ScreenLine> lines;
    std::size_t cursorColumn = 0;
};

// Lays the state out on a screen of this size: a title, each gateway with its locks and as many of its latest lines as
// fit, the latest messages, and the typed line in the last row. Rows say how much was left out for lack of room. Keeps
// no state; any thread may call it.
Screen LayOut(const ScreenState& state, const ScreenSize& size);

// How many rows the messages have on a screen of this size, for scrolling by pages.
std::size_t MessageRows(const ScreenState& state, const ScreenSize& size);

}  // namespace Simulator
