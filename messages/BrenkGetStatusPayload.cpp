#include "messages/BrenkGetStatusPayload.h"

#include "messages/FrameLayout.h"
#include "messages/FrameReader.h"

namespace Brenk::Messages {

BrenkGetStatusPayload::BrenkGetStatusPayload() : BrenkMessagePayload(PayloadDataTypes::kGetStatus) {}

BrenkGetStatusPayload::BrenkGetStatusPayload(std::vector<unsigned char>& frame) : BrenkGetStatusPayload() {
    if (!frame.empty()) {
        statusData_ = std::make_unique<const StatusBytes>(FrameReader(frame).Array<7>(FrameLayout::kPayload));
    }
}

BrenkGetStatusPayload::StatusBytes BrenkGetStatusPayload::StatusData() const {
    return statusData_ == nullptr ? StatusBytes{} : *statusData_;
}

}  // namespace Brenk::Messages
