#include "gateway/FrameBuffer.h"

#include <algorithm>
#include <array>

#include "messages/FrameLayout.h"

namespace Brenk {
namespace {

namespace FrameLayout = Messages::FrameLayout;

constexpr std::array<unsigned char, 2> kMagic = {FrameLayout::kMagicByte1, FrameLayout::kMagicByte2};

// A frame that ends before its payload begins can't be decoded, whatever its command code is.
bool IsTooShortALength(unsigned char length) {
    return length < FrameLayout::kPayload;
}

std::vector<unsigned char>::const_iterator FindMagic(const std::vector<unsigned char>& bytes) {
    return std::search(bytes.begin(), bytes.end(), kMagic.begin(), kMagic.end());
}

}  // namespace

void FrameBuffer::Append(const std::vector<unsigned char>& bytes) {
    if (isStuck_) {
        return;
    }
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    DropWhatCannotMatter();
}

void FrameBuffer::DropWhatCannotMatter() {
    const auto isTooShort =
        std::find_if(std::make_reverse_iterator(FindMagic(bytes_)), bytes_.crend(), IsTooShortALength);
    if (isTooShort != bytes_.crend()) {
        bytes_.erase(bytes_.begin(), std::prev(isTooShort.base()));
    }
    const auto magic = FindMagic(bytes_);
    const bool isFirst = magic == bytes_.begin();
    if (magic != bytes_.end() && (isFirst || IsTooShortALength(*std::prev(magic)))) {
        StickTo(isFirst ? magic : std::prev(magic), magic + kMagic.size());
    }
}

void FrameBuffer::StickTo(std::vector<unsigned char>::const_iterator begin,
                          std::vector<unsigned char>::const_iterator end) {
    bytes_.erase(end, bytes_.cend());
    bytes_.erase(bytes_.cbegin(), begin);
    bytes_.shrink_to_fit();
    isStuck_ = true;
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

void FrameBuffer::KeepOnlyFound() {
    const Location location = Locate();
    if (location.result == FrameSearch::kFound) {
        const auto begin = bytes_.cbegin() + static_cast<std::ptrdiff_t>(location.begin);
        StickTo(begin, begin + static_cast<std::ptrdiff_t>(location.size));
    }
}

std::size_t FrameBuffer::Size() const {
    return bytes_.size();
}

FrameBuffer::Location FrameBuffer::Locate() const {
    const auto magic = FindMagic(bytes_);
    if (magic == bytes_.end()) {
        return {};
    }
    if (magic == bytes_.begin()) {
        return {FrameSearch::kMagicAtFirstIndex, 0, 0};
    }
    const auto begin = static_cast<std::size_t>(magic - bytes_.begin()) - 1;
    const std::size_t size = bytes_.at(begin);
    if (IsTooShortALength(bytes_.at(begin)) || size > bytes_.size() - begin) {
        return {};
    }
    return {FrameSearch::kFound, begin, size};
}

}  // namespace Brenk
