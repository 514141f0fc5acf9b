#include "mux/messages/MuxMessagePayloadBase.h"

#include <memory>

#include "mux/messages/JsonTree.h"

namespace Mux {

std::string MuxMessagePayloadBase::ToJSON() {
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> object(ToJSONObject(&document));
    return object ? JsonText(*object) : std::string();
}

rapidjson::Value* MuxMessagePayloadBase::ToJSONObject(rapidjson::Document* /*document*/) {
    return nullptr;
}

}  // namespace Mux
