#include "tools/gateway-simulator/Screen.h"

#include <algorithm>

#include "tools/gateway-simulator/FaultNames.h"
#include "tools/gateway-simulator/LockText.h"
#include "tools/gateway-simulator/ScreenText.h"

namespace Simulator {
namespace {

using Style = ScreenLine::Style;

constexpr std::size_t kFewestMessageRows = 2;
constexpr std::size_t kMostNameColumns = 20;
// "open (timed)", "not connected"
constexpr std::size_t kStateColumns = 12;
constexpr std::size_t kConnectionColumns = 13;
constexpr const char* kIndent = "  ";
constexpr const char* kFrameIndent = "    ";
// Of the latest lines of a gateway, if its locks do not leave room for more.
constexpr std::size_t kReservedFrames = 3;

std::string Counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::size_t LessOne(std::size_t count) {
    return count - std::min<std::size_t>(count, 1);
}

// Every row but the gateways' and the messages': title, rule, typed line.
std::size_t FixedRows(const ScreenSize& size) {
    return std::min<std::size_t>(size.height, 3);
}

std::string TitleText(const ScreenState& state) {
    const auto connected = std::count_if(state.gateways.begin(), state.gateways.end(),
                                         [](const GatewayView& gateway) { return gateway.status.connected; });
    return "gateway-simulator: " + Counted(state.gateways.size(), "gateway") + ", " + std::to_string(connected) +
           " connected. \"help\" for help, \"quit\" to exit";
}

std::string LockName(const GatewayView& gateway, const LockStatus& lock) {
    const auto name = gateway.lockNames.find(lock.address);
    const bool hasName = name != gateway.lockNames.end() && !name->second.empty();
    return "lock " + std::to_string(lock.address) + (hasName ? " " + name->second : "");
}

std::string GatewayName(const GatewayView& gateway) {
    return "gateway " + std::to_string(gateway.id) + (gateway.name.empty() ? "" : " " + gateway.name);
}

// Widths that all gateways share, so that their columns align.
struct Columns {
    std::size_t gatewayName = 0;
    std::size_t address = 0;
    std::size_t lockName = 0;
};

void Widen(std::size_t& columns, const std::string& text) {
    columns = std::max(columns, ColumnsOf(text));
}

Columns ColumnsFor(const std::vector<GatewayView>& gateways) {
    Columns columns;
    for (const GatewayView& gateway : gateways) {
        Widen(columns.gatewayName, GatewayName(gateway));
        Widen(columns.address, gateway.address);
        for (const LockStatus& lock : gateway.status.locks) {
            Widen(columns.lockName, LockName(gateway, lock));
        }
    }
    columns.gatewayName = std::min(columns.gatewayName, ColumnsOf("gateway 00 ") + kMostNameColumns);
    columns.lockName = std::min(columns.lockName, kMostNameColumns);
    return columns;
}

std::string GatewayText(const GatewayView& gateway, const Columns& columns) {
    return PadColumns(GatewayName(gateway), columns.gatewayName) + "  " + PadColumns(gateway.address, columns.address) +
           "  " + PadColumns(gateway.status.connected ? "connected" : "not connected", kConnectionColumns) +
           "  counter " + std::to_string(gateway.status.counter);
}

std::string FaultsText(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults) {
        text += (text.empty() ? "fault " : ", ") + DescribePendingFault(fault);
    }
    return text;
}

// What is worth a look at a gateway that is not unfolded.
std::string NotesText(const GatewayView& gateway) {
    const std::vector<LockStatus>& locks = gateway.status.locks;
    const auto open = std::count_if(locks.begin(), locks.end(),
                                    [](const LockStatus& lock) { return lock.state != Lock::State::kClosed; });
    std::string text;
    text += gateway.status.faults.empty() ? "" : ", " + Counted(gateway.status.faults.size(), "fault");
    text += open == 0 ? "" : ", " + std::to_string(open) + " open";
    return text;
}

std::string FlagsText(const LockStatus& lock) {
    std::string text;
    text += lock.eventPending ? ", event pending" : "";
    text += lock.mechanicalActive ? ", mechanical" : "";
    text += lock.batteryWarning ? ", battery warning" : "";
    text += lock.batteryAlarm ? ", battery alarm" : "";
    return text;
}

std::string LockText(const LockStatus& lock) {
    return PadColumns(StateText(lock.state), kStateColumns) + "  battery " + std::to_string(lock.batteryStatus) +
           " level " + std::to_string(lock.batteryLevel) + "  cards " + std::to_string(lock.cards) + "/" +
           std::to_string(lock.capacity) + (lock.whitelistEnabled ? "" : " disabled") + FlagsText(lock);
}

// The rows of an unfolded gateway: its own, its faults', its locks' and one for what happens.
std::size_t UnfoldedRows(const GatewayView& gateway) {
    return 2 + (gateway.status.faults.empty() ? 0 : 1) + gateway.status.locks.size();
}

// The last `count` of the lines. Those of keep-alive frames give way to others.
std::vector<std::string> LatestLines(const std::vector<RecentLine>& lines, std::size_t count) {
    std::vector<std::string> texts;
    for (const RecentLine& line : lines) {
        if (lines.size() <= count || !line.isKeepAlive) {
            texts.push_back(line.text);
        }
    }
    const std::size_t dropped = texts.size() - std::min(count, texts.size());
    texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(dropped));
    return texts;
}

// Of `count` gateways that have so many rows, how many are shown: a row may be needed to say how many are not.
std::size_t ShownOf(std::size_t count, std::size_t rows) {
    return count <= rows ? count : LessOne(rows);
}

// The messages in rows, and which of these are shown.
class MessagePage {
  public:
    MessagePage(const ScreenState& state, const ScreenSize& size) {
        for (const std::string& message : state.messages) {
            const std::vector<std::string> wrapped = WrapColumns(message, size.width);
            rows_.insert(rows_.end(), wrapped.begin(), wrapped.end());
        }
        const std::size_t room = (size.height - FixedRows(size)) / 2;
        height_ = std::min(room, std::max(kFewestMessageRows, rows_.size()));
        firstRow_ = state.firstRow ? PageAt(*state.firstRow) : std::nullopt;
    }

    // How many rows it has on the screen.
    std::size_t Height() const { return height_; }

    // A page that begins at this row; nothing when it would hold the latest rows.
    std::optional<std::size_t> PageAt(std::size_t row) const {
        return row + height_ < rows_.size() ? std::make_optional(row) : std::nullopt;
    }

    std::optional<std::size_t> Previous() const { return PageAt(FirstRow() - std::min(FirstRow(), Step())); }

    std::optional<std::size_t> Next() const { return firstRow_ ? PageAt(*firstRow_ + Step()) : std::nullopt; }

    // Its rows, of which the last one says how many follow.
    std::vector<std::string> Rows() const {
        const bool hasMark = firstRow_ && height_ > 1;
        const std::size_t end = std::min(FirstRow() + height_ - (hasMark ? 1 : 0), rows_.size());
        std::vector<std::string> shown(rows_.begin() + static_cast<std::ptrdiff_t>(FirstRow()),
                                       rows_.begin() + static_cast<std::ptrdiff_t>(end));
        if (hasMark) {
            shown.push_back("-- " + Counted(rows_.size() - end, "more line") + ", Page Down --");
        }
        return shown;
    }

  private:
    std::size_t FirstRow() const { return firstRow_.value_or(rows_.size() - std::min(height_, rows_.size())); }

    // How far a page is turned, which is all of it but the row that says how many follow.
    std::size_t Step() const { return std::max<std::size_t>(LessOne(height_), 1); }

    std::vector<std::string> rows_;
    std::size_t height_ = 0;
    std::optional<std::size_t> firstRow_;
};

// Puts the rows of a screen together from top to bottom.
class Layout {
  public:
    Layout(const ScreenState& state, const ScreenSize& size)
        : state_(state), size_(size), columns_(ColumnsFor(state.gateways)) {}

    void Add(const std::string& text, Style style = Style::kPlain) {
        if (screen_.lines.size() < size_.height) {
            screen_.lines.push_back({CutColumns(text, size_.width), style});
        }
    }

    void FillTo(std::size_t rows) {
        while (screen_.lines.size() < rows) {
            Add("");
        }
    }

    void AddGateways(std::size_t rows) {
        std::size_t needed = 0;
        for (const GatewayView& gateway : state_.gateways) {
            needed += UnfoldedRows(gateway);
        }
        if (needed <= rows) {
            AddAllUnfolded(rows, needed);
        } else if (rows > 0) {
            AddList(rows);
        }
    }

    void AddTypedLine() {
        const std::size_t promptColumns = ColumnsOf(state_.prompt);
        const std::size_t room = size_.width - std::min(size_.width, promptColumns + 1);
        // What is left of the cursor stays in sight.
        const std::size_t hidden = state_.cursor - std::min(state_.cursor, room);
        Add(FitColumns(state_.prompt + state_.input.substr(hidden), size_.width));
        screen_.cursorColumn = std::min(promptColumns + state_.cursor - hidden, LessOne(size_.width));
    }

    Screen Take() { return std::move(screen_); }

  private:
    // The rows that are left are for what happens, shared by all.
    void AddAllUnfolded(std::size_t rows, std::size_t needed) {
        const std::size_t count = state_.gateways.size();
        const std::size_t spare = rows - needed;
        for (std::size_t index = 0; index < count; ++index) {
            const GatewayView& gateway = state_.gateways.at(index);
            AddUnfolded(gateway, UnfoldedRows(gateway) + spare / count + (index < spare % count ? 1 : 0));
        }
    }

    // The chosen gateway unfolded and others, at least in a third of the rows, above and below it.
    void AddList(std::size_t rows) {
        const std::size_t others = LessOne(state_.gateways.size());
        const GatewayView& chosen = state_.gateways.at(state_.chosen);
        const std::size_t wanted = UnfoldedRows(chosen) - 1 + std::min(chosen.recent.size(), kReservedFrames);
        const std::size_t unfolded = std::min(rows - std::min(others, rows / 3), wanted);
        const std::size_t listed = std::min(others, rows - unfolded);
        const std::size_t below = others - state_.chosen;
        // In the middle, but without rows for more gateways than there are.
        const std::size_t rowsAbove = std::min(state_.chosen, std::max(listed / 2, listed - std::min(listed, below)));
        AddAbove(rowsAbove);
        AddUnfolded(chosen, rows - listed);
        AddBelow(listed - rowsAbove);
    }

    void AddAbove(std::size_t rows) {
        const std::size_t shown = ShownOf(state_.chosen, rows);
        AddHidden(state_.chosen - shown, "above", rows);
        for (std::size_t index = state_.chosen - shown; index < state_.chosen; ++index) {
            AddFolded(state_.gateways.at(index));
        }
    }

    void AddBelow(std::size_t rows) {
        const std::size_t first = state_.chosen + 1;
        const std::size_t below = state_.gateways.size() - first;
        const std::size_t shown = ShownOf(below, rows);
        for (std::size_t index = first; index < first + shown; ++index) {
            AddFolded(state_.gateways.at(index));
        }
        AddHidden(below - shown, "below", rows);
    }

    void AddHidden(std::size_t count, const std::string& where, std::size_t rows) {
        if (count > 0 && rows > 0) {
            Add("-- " + Counted(count, "more gateway") + " " + where + " --");
        }
    }

    void AddFolded(const GatewayView& gateway) { Add(GatewayText(gateway, columns_) + NotesText(gateway)); }

    // Takes how many rows there are for the gateway, at least one.
    void AddUnfolded(const GatewayView& gateway, std::size_t rows) {
        Add(GatewayText(gateway, columns_), Style::kGateway);
        std::size_t left = rows - 1;
        if (!gateway.status.faults.empty() && left > 0) {
            Add(kIndent + FaultsText(gateway.status.faults));
            --left;
        }
        left -= AddLocks(gateway, left);
        for (const std::string& line : LatestLines(gateway.recent, left)) {
            Add(kFrameIndent + line);
        }
    }

    // Leaves some rows for what happens. Returns how many it took.
    std::size_t AddLocks(const GatewayView& gateway, std::size_t rows) {
        const std::vector<LockStatus>& locks = gateway.status.locks;
        const std::size_t reserved = std::min({gateway.recent.size(), kReservedFrames, rows / 3});
        const std::size_t taken = locks.size() < rows ? locks.size() : rows - reserved;
        const std::size_t shown = ShownOf(locks.size(), taken);
        for (std::size_t index = 0; index < shown; ++index) {
            const LockStatus& lock = locks.at(index);
            Add(kIndent + PadColumns(LockName(gateway, lock), columns_.lockName) + "  " + LockText(lock));
        }
        if (shown < locks.size() && taken > 0) {
            Add(kIndent + std::string("-- ") + Counted(locks.size() - shown, "more lock") + " --");
        }
        return taken;
    }

    const ScreenState& state_;
    ScreenSize size_;
    Columns columns_;
    Screen screen_;
};

}  // namespace

std::optional<std::size_t> FirstPage(const ScreenState& state, const ScreenSize& size) {
    return MessagePage(state, size).PageAt(0);
}

std::optional<std::size_t> PreviousPage(const ScreenState& state, const ScreenSize& size) {
    return MessagePage(state, size).Previous();
}

std::optional<std::size_t> NextPage(const ScreenState& state, const ScreenSize& size) {
    return MessagePage(state, size).Next();
}

Screen LayOut(const ScreenState& state, const ScreenSize& size) {
    Layout layout(state, size);
    const MessagePage messages(state, size);
    if (size.height > 1) {
        layout.Add(PadColumns(TitleText(state), size.width), Style::kTitle);
    }
    layout.AddGateways(size.height - FixedRows(size) - messages.Height());
    layout.FillTo(size.height - std::min(size.height, messages.Height() + (size.height > 2 ? 2 : 1)));
    if (size.height > 2) {
        layout.Add(std::string(size.width, '-'));
    }
    for (const std::string& row : messages.Rows()) {
        layout.Add(row);
    }
    layout.FillTo(LessOne(size.height));
    layout.AddTypedLine();
    return layout.Take();
}

}  // namespace Simulator
