#include "tools/muxctl/WaitIndicator.h"

#include <string_view>

#include "tools/muxctl/Seconds.h"

namespace Muxctl {
namespace {

constexpr std::string_view kFrames = "|/-\\";
constexpr const char* kEraseLine = "\r\033[K";

}  // namespace

WaitIndicator::WaitIndicator(std::ostream& stream, bool isEnabled) : stream_(stream), isEnabled_(isEnabled) {}

WaitIndicator::~WaitIndicator() {
    if (isDrawn_) {
        stream_ << kEraseLine << std::flush;
    }
}

void WaitIndicator::Draw(std::chrono::milliseconds elapsed) {
    if (!isEnabled_) {
        return;
    }
    const auto frame = static_cast<std::size_t>(elapsed / kPeriod) % kFrames.size();
    stream_ << kEraseLine << kFrames.at(frame) << " waiting for the answer, " << SecondsText(elapsed) << std::flush;
    isDrawn_ = true;
}

}  // namespace Muxctl
