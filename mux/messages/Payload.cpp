#include "mux/messages/Payload.h"

#include <utility>

#include "json/Tree.h"

namespace Mux {

std::string MuxMessagePayloadBase::ToJSON() {
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> object(ToJSONObject(&document));
    return object ? Json::Text(*object) : std::string();
}

rapidjson::Value* MuxMessagePayloadBase::ToJSONObject(rapidjson::Document* /*document*/) {
    return nullptr;
}

PayloadObject::PayloadObject(rapidjson::Document* document)
    : document_(document), object_(std::make_unique<rapidjson::Value>(rapidjson::kObjectType)) {}

PayloadObject& PayloadObject::Add(const Key& key, bool value) {
    return Append(key, rapidjson::Value(value));
}

PayloadObject& PayloadObject::Add(const Key& key, std::int32_t value) {
    return Append(key, rapidjson::Value(value));
}

PayloadObject& PayloadObject::Add(const Key& key, std::uint32_t value) {
    return Append(key, rapidjson::Value(value));
}

PayloadObject& PayloadObject::Add(const Key& key, const std::string& value) {
    if (document_ == nullptr) {
        return *this;
    }
    const auto length = static_cast<rapidjson::SizeType>(value.size());
    return Append(key, rapidjson::Value(value.data(), length, document_->GetAllocator()));
}

PayloadObject& PayloadObject::Move(const Key& key, rapidjson::Value& held) {
    if (document_ == nullptr || held.IsNull()) {
        return *this;
    }
    rapidjson::Value moved;
    Json::Copy(held, moved, document_->GetAllocator());
    held.SetNull();
    return Append(key, std::move(moved));
}

rapidjson::Value* PayloadObject::Release() {
    return object_.release();
}

PayloadObject& PayloadObject::Append(const Key& key, rapidjson::Value&& value) {
    if (document_ != nullptr) {
        object_->AddMember(key, value, document_->GetAllocator());
    }
    return *this;
}

}  // namespace Mux
