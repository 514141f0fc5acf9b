#include "tools/muxctl/WaitIndicator.h"

#include <cstdint>
#include <string_view>

#include "tools/muxctl/Seconds.h"

namespace Muxctl {
namespace {

constexpr std::string_view kFrames = "|/-\\";
constexpr std::size_t kBarWidth = 30;
constexpr const char* kEraseLine = "\r\033[K";

}  // namespace

WaitIndicator::WaitIndicator(std::ostream& stream, bool isEnabled) : stream_(stream), isEnabled_(isEnabled) {}

WaitIndicator::~WaitIndicator() {
    if (isDrawn_) {
        stream_ << kEraseLine << std::flush;
    }
}

void WaitIndicator::Draw(std::chrono::milliseconds elapsed) {
    const auto frame = static_cast<std::size_t>(elapsed / kPeriod) % kFrames.size();
    DrawText(kFrames.at(frame) + (" waiting for the answer, " + SecondsText(elapsed)));
}

void WaitIndicator::DrawProgress(std::size_t done, std::size_t total, std::chrono::milliseconds elapsed) {
    const std::size_t filled = total == 0 ? kBarWidth : kBarWidth * done / total;
    const std::int64_t rest =
        done == 0 ? 0 : elapsed.count() * static_cast<std::int64_t>(total - done) / static_cast<std::int64_t>(done);
    const std::string left = done == 0 ? "" : ", " + SecondsText(std::chrono::milliseconds(rest)) + " left";
    DrawText("[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " + std::to_string(done) +
             " of " + std::to_string(total) + left);
}

void WaitIndicator::DrawText(const std::string& text) {
    if (isEnabled_) {
        stream_ << kEraseLine << text << std::flush;
        isDrawn_ = true;
    }
}

}  // namespace Muxctl
