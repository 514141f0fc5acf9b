#include "messages/EventPayloads.h"

#include <memory>

#include "messages/FrameLayout.h"
#include "messages/FrameReader.h"

namespace Brenk::Messages {
namespace {

constexpr std::size_t kEventHeader = FrameLayout::kPayload;
constexpr std::size_t kEventBytes = FrameLayout::kPayload + 4;
constexpr std::size_t kDataLength = FrameLayout::kPayload + 7;
constexpr std::size_t kData = FrameLayout::kPayload + 8;

}  // namespace

BrenkReaderEventPayload::BrenkReaderEventPayload(std::uint8_t dataType) : BrenkMessagePayload(dataType) {}

BrenkReaderEventPayload::BrenkReaderEventPayload(std::uint8_t dataType, const std::vector<unsigned char>& frame)
    : BrenkMessagePayload(dataType) {
    if (frame.empty()) {
        return;
    }
    const FrameReader reader(frame);
    eventHeader_ = reader.Array<4>(kEventHeader);
    eventBytes_ = reader.Array<3>(kEventBytes);
    data_ = reader.Bytes(kData, reader.Byte(kDataLength));
}

const std::array<std::uint8_t, 4>& BrenkReaderEventPayload::EventHeader() const {
    return eventHeader_;
}

const std::array<std::uint8_t, 3>& BrenkReaderEventPayload::EventBytes() const {
    return eventBytes_;
}

const std::vector<unsigned char>& BrenkReaderEventPayload::Data() const {
    return data_;
}

std::vector<unsigned char>* BrenkPincodeMessagePayload::Serialize() {
    auto bytes = std::make_unique<std::vector<unsigned char>>();
    bytes->insert(bytes->end(), EventHeader().begin(), EventHeader().end());
    bytes->insert(bytes->end(), EventBytes().begin(), EventBytes().end());
    bytes->push_back(static_cast<unsigned char>(Data().size()));
    bytes->insert(bytes->end(), Data().begin(), Data().end());
    return bytes.release();
}

}  // namespace Brenk::Messages
