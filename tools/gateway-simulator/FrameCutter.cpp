#include "tools/gateway-simulator/FrameCutter.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "tools/gateway-simulator/FrameCodec.h"

namespace Simulator {
namespace {

constexpr std::array<std::uint8_t, 2> kMagic = {kMagicFirst, kMagicSecond};
constexpr std::size_t kLengthAndMagic = 1 + kMagic.size();

}  // namespace

void FrameCutter::Append(const Bytes& received) {
    pending_.insert(pending_.end(), received.begin(), received.end());
}

std::optional<FrameCutter::Chunk> FrameCutter::Next() {
    const std::optional<std::size_t> start = FindStart();
    const std::size_t junk = start ? *start : JunkWithoutStart();
    if (junk > 0) {
        return Cut(junk, false);
    }
    if (!start) {
        return std::nullopt;
    }
    const std::size_t length = pending_.front();
    if (length < kShortestFrame) {
        return Cut(kLengthAndMagic, false);
    }
    return length <= pending_.size() ? std::make_optional(Cut(length, true)) : std::nullopt;
}

std::optional<std::size_t> FrameCutter::FindStart() const {
    if (pending_.size() < kLengthAndMagic) {
        return std::nullopt;
    }
    const auto magic = std::search(pending_.begin() + 1, pending_.end(), kMagic.begin(), kMagic.end());
    if (magic == pending_.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(magic - pending_.begin()) - 1;
}

// The last byte may be a frame's length, and the last two its length and half of its magic.
std::size_t FrameCutter::JunkWithoutStart() const {
    if (pending_.size() < 2) {
        return 0;
    }
    const std::size_t keep = pending_.back() == kMagicFirst ? 2 : 1;
    return pending_.size() - keep;
}

FrameCutter::Chunk FrameCutter::Cut(std::size_t count, bool isFrame) {
    const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(count);
    Chunk chunk = {isFrame, Bytes(pending_.begin(), end)};
    pending_.erase(pending_.begin(), end);
    return chunk;
}

}  // namespace Simulator
