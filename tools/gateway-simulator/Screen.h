#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway-simulator/GatewayStatus.h"

namespace Simulator {

// All that the screen shows.
struct ScreenState {
    std::vector<GatewayView> gateways;
    // Index of the gateway that commands go to.
    std::size_t chosen = 0;
    // Output of commands, oldest first.
    std::vector<std::string> messages;
    // The row of the messages, counted from 0, that is shown first; nothing for the latest rows.
    std::optional<std::size_t> firstRow;
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

// Lays the state out on a screen of this size: a title, the gateways, the messages, and the typed line in the last row.
// Each gateway has its locks and as many of its latest lines as fit. When there is no room for all of them, only the
// chosen one has, in a list of those around it. Rows say how much was left out; a mark ends a row that was cut. Keeps
// no state; any thread may call it.
Screen LayOut(const ScreenState& state, const ScreenSize& size);

// Values for `firstRow`, on a screen of this size. Any thread may call them.
//
// The beginning of messages that have more rows than there is room; nothing for others.
std::optional<std::size_t> FirstPage(const ScreenState& state, const ScreenSize& size);
// The page before or behind the one that is shown.
std::optional<std::size_t> PreviousPage(const ScreenState& state, const ScreenSize& size);
std::optional<std::size_t> NextPage(const ScreenState& state, const ScreenSize& size);

}  // namespace Simulator
