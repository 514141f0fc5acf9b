#include "tools/gateway-simulator/Screen.h"

#include <algorithm>

#include "tools/gateway-simulator/FaultNames.h"
#include "tools/gateway-simulator/LockText.h"
#include "tools/gateway-simulator/ScreenText.h"

namespace Simulator {
namespace {

using Style = ScreenLine::Style;

constexpr std::size_t kFewestMessageRows = 2;
constexpr std::size_t kLongestLockName = 20;
// "open for a while"
constexpr std::size_t kStateColumns = 16;
constexpr const char* kLockIndent = "    ";
constexpr const char* kFrameIndent = "      ";

std::string Counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// Every row but the gateways' and the messages': title, rule, typed line.
std::size_t FixedRows(const ScreenSize& size) {
    return std::min<std::size_t>(size.height, 3);
}

std::string TitleText(const ScreenState& state) {
    const auto connected = std::count_if(state.gateways.begin(), state.gateways.end(),
                                         [](const GatewayView& gateway) { return gateway.status.connected; });
    return "gateway-simulator: " + Counted(state.gateways.size(), "gateway") + ", " + std::to_string(connected) +
           " connected. Commands below, \"help\" lists them, \"quit\" ends.";
}

std::string FaultsText(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults) {
        text += (text.empty() ? ", fault " : ", ") + DescribePendingFault(fault);
    }
    return text;
}

std::string GatewayText(const GatewayView& gateway) {
    return "gateway " + std::to_string(gateway.id) + (gateway.name.empty() ? "" : " " + gateway.name) + ", " +
           gateway.address + ", " + (gateway.status.connected ? "connected" : "not connected") + ", counter " +
           std::to_string(gateway.status.counter) + FaultsText(gateway.status.faults);
}

std::string LockName(const GatewayView& gateway, const LockStatus& lock) {
    const auto name = gateway.lockNames.find(lock.address);
    const bool hasName = name != gateway.lockNames.end() && !name->second.empty();
    return "lock " + std::to_string(lock.address) + (hasName ? " " + name->second : "");
}

std::string FlagsText(const LockStatus& lock) {
    std::string text;
    text += lock.mechanicalActive ? ", mechanical" : "";
    text += lock.batteryWarning ? ", battery warning" : "";
    text += lock.batteryAlarm ? ", battery alarm" : "";
    text += lock.eventPending ? ", event pending" : "";
    return text;
}

std::string LockText(const LockStatus& lock) {
    return PadColumns(StateText(lock.state), kStateColumns) + "  battery " + std::to_string(lock.batteryStatus) +
           " level " + std::to_string(lock.batteryLevel) + "  whitelist " + std::to_string(lock.cards) + " of " +
           std::to_string(lock.capacity) + (lock.whitelistEnabled ? "" : " disabled") + FlagsText(lock);
}

std::size_t NameColumns(const GatewayView& gateway) {
    std::size_t columns = 0;
    for (const LockStatus& lock : gateway.status.locks) {
        columns = std::max(columns, ColumnsOf(LockName(gateway, lock)));
    }
    return std::min(columns, kLongestLockName);
}

// The rows of a gateway without its frames.
std::size_t RowsWithoutFrames(const GatewayView& gateway) {
    return 1 + gateway.status.locks.size();
}

// The last `count` of the lines, those that the person has gone back by left out.
std::vector<std::string> LastOf(const std::vector<std::string>& lines, std::size_t count, std::size_t scrolled = 0) {
    const std::size_t end = std::max(lines.size() - std::min(scrolled, lines.size()), std::min(count, lines.size()));
    const std::size_t start = end - std::min(count, end);
    return {lines.begin() + static_cast<std::ptrdiff_t>(start), lines.begin() + static_cast<std::ptrdiff_t>(end)};
}

// Puts the rows of a screen together from top to bottom.
class Layout {
  public:
    explicit Layout(const ScreenSize& size) : size_(size) {}

    void Add(const std::string& text, Style style = Style::kPlain) {
        if (screen_.lines.size() < size_.height) {
            screen_.lines.push_back({FitColumns(text, size_.width), style});
        }
    }

    void FillTo(std::size_t rows) {
        while (screen_.lines.size() < rows) {
            Add("");
        }
    }

    // Takes how many rows there are for the gateway, at least one.
    void AddGateway(const GatewayView& gateway, std::size_t rows) {
        Add(GatewayText(gateway), Style::kGateway);
        AddLocks(gateway, rows - 1);
        const std::size_t used = std::min(rows, RowsWithoutFrames(gateway));
        for (const std::string& line : LastOf(gateway.recent, rows - used)) {
            Add(kFrameIndent + line);
        }
    }

    void AddTypedLine(const ScreenState& state) {
        const std::size_t promptColumns = ColumnsOf(state.prompt);
        const std::size_t room = size_.width - std::min(size_.width, promptColumns + 1);
        // What is left of the cursor stays in sight.
        const std::size_t hidden = state.cursor - std::min(state.cursor, room);
        Add(state.prompt + state.input.substr(hidden));
        screen_.cursorColumn =
            std::min(promptColumns + state.cursor - hidden, size_.width - std::min<std::size_t>(size_.width, 1));
    }

    Screen Take() { return std::move(screen_); }

  private:
    void AddLocks(const GatewayView& gateway, std::size_t rows) {
        const std::size_t columns = NameColumns(gateway);
        const bool fit = gateway.status.locks.size() <= rows;
        const std::size_t shown = fit ? gateway.status.locks.size() : rows - std::min<std::size_t>(rows, 1);
        for (std::size_t index = 0; index < shown; ++index) {
            const LockStatus& lock = gateway.status.locks.at(index);
            Add(kLockIndent + PadColumns(LockName(gateway, lock), columns) + "  " + LockText(lock));
        }
        if (!fit && rows > 0) {
            Add(kLockIndent + std::string("and ") + Counted(gateway.status.locks.size() - shown, "more lock"));
        }
    }

    ScreenSize size_;
    Screen screen_;
};

// Gives out rows one at a time, round after round, to the gateways that `wants` more; leaves what nobody wants.
template <typename Wants>
void GiveRows(std::vector<std::size_t>& shares, std::size_t& rows, Wants wants) {
    for (bool given = true; given && rows > 0;) {
        given = false;
        for (std::size_t index = 0; index < shares.size() && rows > 0; ++index) {
            if (wants(index)) {
                ++shares.at(index);
                --rows;
                given = true;
            }
        }
    }
}

// How many of the rows, at least one each, each of the first `count` gateways gets: first what it needs for its locks,
// then of what is left the same share.
std::vector<std::size_t> ShareRows(const std::vector<GatewayView>& gateways, std::size_t count, std::size_t rows) {
    std::vector<std::size_t> shares(count, 1);
    std::size_t left = rows - count;
    GiveRows(shares, left, [&](std::size_t index) { return shares.at(index) < RowsWithoutFrames(gateways.at(index)); });
    GiveRows(shares, left, [](std::size_t) { return true; });
    return shares;
}

void AddGateways(Layout& layout, const std::vector<GatewayView>& gateways, std::size_t rows) {
    const bool fit = gateways.size() <= rows;
    const std::size_t shown = fit ? gateways.size() : rows - std::min<std::size_t>(rows, 1);
    const std::vector<std::size_t> shares = ShareRows(gateways, shown, fit ? rows : shown);
    for (std::size_t index = 0; index < shown; ++index) {
        layout.AddGateway(gateways.at(index), shares.at(index));
    }
    if (!fit && rows > 0) {
        layout.Add("and " + Counted(gateways.size() - shown, "more gateway"), Style::kGateway);
    }
}

}  // namespace

std::size_t MessageRows(const ScreenState& state, const ScreenSize& size) {
    const std::size_t room = (size.height - FixedRows(size)) / 2;
    return std::min(room, std::max(kFewestMessageRows, state.messages.size()));
}

Screen LayOut(const ScreenState& state, const ScreenSize& size) {
    Layout layout(size);
    const std::size_t messageRows = MessageRows(state, size);
    const std::size_t gatewayRows = size.height - FixedRows(size) - messageRows;
    if (size.height > 1) {
        layout.Add(PadColumns(TitleText(state), size.width), Style::kTitle);
    }
    AddGateways(layout, state.gateways, gatewayRows);
    layout.FillTo(size.height - std::min(size.height, messageRows + (size.height > 2 ? 2 : 1)));
    if (size.height > 2) {
        layout.Add(std::string(size.width, '-'));
    }
    for (const std::string& line : LastOf(state.messages, messageRows, state.scrolled)) {
        layout.Add(line);
    }
    layout.FillTo(size.height - std::min<std::size_t>(size.height, 1));
    layout.AddTypedLine(state);
    return layout.Take();
}

}  // namespace Simulator
