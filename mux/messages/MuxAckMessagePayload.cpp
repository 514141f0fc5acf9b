#include "mux/messages/MuxAckMessagePayload.h"

#include "mux/messages/JsonTree.h"
#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxAckMessagePayload::MuxAckMessagePayload(const rapidjson::Value& data) {
    CopyJson(data, data_, data_.GetAllocator());
}

rapidjson::Value* MuxAckMessagePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Move("Data", data_).Release();
}

}  // namespace Mux
