#include "gateway/FrameBuffer.h"

#include <algorithm>
#include <array>

namespace Brenk {
namespace {

constexpr std::array<unsigned char, 2> kMagic = {0xFE, 0xFD};

}  // namespace

void FrameBuffer::Append(const std::vector<unsigned char>& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

FrameSearch FrameBuffer::Find(std::vector<unsigned char>& frame) const {
    const Location location = Locate();
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(location.begin);
    frame.assign(begin, begin + static_cast<std::ptrdiff_t>(location.size));
    return location.result;
}

void FrameBuffer::EraseFound() {
    const Location location = Locate();
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(location.begin);
    bytes_.erase(begin, begin + static_cast<std::ptrdiff_t>(location.size));
}

FrameBuffer::Location FrameBuffer::Locate() const {
    const auto magic = std::search(bytes_.begin(), bytes_.end(), kMagic.begin(), kMagic.end());
    if (magic == bytes_.end()) {
        return {};
    }
    if (magic == bytes_.begin()) {
        return {FrameSearch::kMagicAtFirstIndex, 0, 0};
    }
    const auto begin = static_cast<std::size_t>(magic - bytes_.begin()) - 1;
    const std::size_t size = bytes_.at(begin);
    if (size == 0 || size > bytes_.size() - begin) {
        return {};
    }
    return {FrameSearch::kFound, begin, size};
}

}  // namespace Brenk
