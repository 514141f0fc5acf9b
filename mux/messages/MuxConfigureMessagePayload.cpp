#include "mux/messages/MuxConfigureMessagePayload.h"

#include <memory>

#include "mux/messages/JsonTree.h"

namespace Mux {

MuxConfigureMessagePayload::MuxConfigureMessagePayload(rapidjson::Value&& data) {
    CopyJson(data, data_, data_.GetAllocator());
    data.SetNull();
}

rapidjson::Value* MuxConfigureMessagePayload::ToJSONObject(rapidjson::Document* document) {
    auto object = std::make_unique<rapidjson::Value>(rapidjson::kObjectType);
    if (document != nullptr) {
        CopyJson(data_, *object, document->GetAllocator());
    }
    return object.release();
}

}  // namespace Mux
