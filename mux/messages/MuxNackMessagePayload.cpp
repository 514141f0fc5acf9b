#include "mux/messages/MuxNackMessagePayload.h"

#include <memory>
#include <utility>

#include "mux/messages/JsonTree.h"
#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxNackMessagePayload::MuxNackMessagePayload(std::int32_t errorCode, std::string message)
    : errorCode_(errorCode), message_(std::move(message)) {}

MuxNackMessagePayload::MuxNackMessagePayload(std::int32_t errorCode, std::string message, const rapidjson::Value& data)
    : MuxNackMessagePayload(errorCode, std::move(message)) {
    CopyJson(data, data_, data_.GetAllocator());
}

std::string MuxNackMessagePayload::ToJSON() {
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> object(ToJSONObject(&document));
    return JsonText(*object);
}

rapidjson::Value* MuxNackMessagePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("ErrorCode", errorCode_).Add("Message", message_).Move("Data", data_).Release();
}

}  // namespace Mux
