#include "tools/gateway-simulator/ScreenFrontEnd.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <system_error>

namespace Simulator {
namespace {

constexpr std::chrono::milliseconds kTick{100};
// More than the highest screen has rows.
constexpr std::size_t kKeptFrames = 200;
constexpr std::size_t kKeptMessages = 1000;

// The terminal opened anew for the loop, which makes what it waits for non-blocking: a mere copy of standard input
// would share that with the shell and with every other job on the terminal.
int OpenTerminal() {
    std::array<char, PATH_MAX> name = {};
    const bool hasName = ttyname_r(STDIN_FILENO, name.data(), name.size()) == 0;
    const int own = hasName ? open(name.data(), O_RDONLY | O_NOCTTY | O_CLOEXEC) : -1;
    const int terminal = own < 0 ? open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC) : own;
    if (terminal < 0) {
        throw std::system_error(errno, std::generic_category(), "the terminal cannot be opened; try --plain");
    }
    return terminal;
}

}  // namespace

ScreenFrontEnd::ScreenFrontEnd(const std::vector<GatewayDescription>& gateways) : messages_(kKeptMessages) {
    for (const GatewayDescription& gateway : gateways) {
        const std::string label = gateways.size() == 1 ? "" : std::to_string(gateway.id) + ": ";
        recent_.push_back(std::make_unique<RecentLines>(kKeptFrames));
        commandOutputs_.push_back(std::make_unique<LabelledOutput>(messages_, label));
    }
}

void ScreenFrontEnd::Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) {
    gateways_ = &gateways;
    handlers_ = handlers;
    terminal_ = std::make_unique<Terminal>();
    input_.emplace(loop, OpenTerminal());
    tick_.emplace(loop);
    AwaitKeys();
    AwaitTick();
    Draw();
}

void ScreenFrontEnd::AwaitKeys() {
    input_->async_wait(asio::posix::stream_descriptor::wait_read, [this](const asio::error_code& error) {
        if (!error) {
            OnKeys();
        }
    });
}

void ScreenFrontEnd::OnKeys() {
    while (const std::optional<KeyPress> press = Terminal::ReadKey()) {
        OnKey(*press);
    }
    if (Terminal::IsGone()) {
        handlers_.gone();
        return;
    }
    Draw();
    AwaitKeys();
}

void ScreenFrontEnd::AwaitTick() {
    tick_->expires_after(kTick);
    tick_->async_wait([this](const asio::error_code& error) {
        if (!error) {
            Draw();
            AwaitTick();
        }
    });
}

void ScreenFrontEnd::OnKey(const KeyPress& press) {
    switch (press.key) {
        case Key::kPageUp:
            firstRow_ = PreviousPage(State(), terminal_->Size());
            break;
        case Key::kPageDown:
            firstRow_ = NextPage(State(), terminal_->Size());
            break;
        case Key::kRedraw:
            Terminal::Redraw();
            break;
        default:
            if (const std::optional<std::string> line = editor_.Take(press)) {
                OnLine(*line);
            }
    }
}

// What earlier commands had to say makes room.
void ScreenFrontEnd::OnLine(const std::string& line) {
    messages_.Clear();
    firstRow_.reset();
    if (!line.empty()) {
        messages_.Write(Prompt() + line);
        handlers_.line(line);
        firstRow_ = FirstPage(State(), terminal_->Size());
    }
}

std::vector<RecentLine> ScreenFrontEnd::RecentLinesOf(std::size_t index) const {
    std::vector<RecentLine> lines = recent_.at(index)->Lines();
    if (!showsKeepAlives_) {
        const auto isHidden = [](const RecentLine& line) { return line.isKeepAlive; };
        lines.erase(std::remove_if(lines.begin(), lines.end(), isHidden), lines.end());
    }
    return lines;
}

ScreenState ScreenFrontEnd::State() const {
    ScreenState state;
    for (std::size_t index = 0; index < gateways_->size(); ++index) {
        state.gateways.push_back(gateways_->at(index)->View());
        state.gateways.back().recent = RecentLinesOf(index);
        state.chosen = state.gateways.back().id == handlers_.chosen() ? index : state.chosen;
    }
    for (const RecentLine& message : messages_.Lines()) {
        state.messages.push_back(message.text);
    }
    state.firstRow = firstRow_;
    state.prompt = Prompt();
    state.input = editor_.Text();
    state.cursor = editor_.Cursor();
    return state;
}

std::string ScreenFrontEnd::Prompt() const {
    return (gateways_->size() == 1 ? "" : std::to_string(handlers_.chosen())) + "> ";
}

void ScreenFrontEnd::Draw() {
    terminal_->Show(LayOut(State(), terminal_->Size()));
}

}  // namespace Simulator
