#include "proxy/requests/JsonObject.h"

#include "json/RapidJson.h"
#include "json/Utf8.h"

namespace MuxProxy {
namespace {

std::string Quoted(std::string_view text) {
    const std::string valid = Json::InUtf8(text);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

template <typename Elements, typename Write>
std::string ArrayOf(const Elements& elements, const Write& write) {
    std::string array;
    for (const auto& element : elements) {
        array += (array.empty() ? "" : ",") + write(element);
    }
    return '[' + array + ']';
}

}  // namespace

JsonObject& JsonObject::Member(std::string_view name, std::string_view json) {
    members_ += (members_.empty() ? "" : ",") + Quoted(name) + ':';
    members_ += json;
    return *this;
}

JsonObject& JsonObject::Text(std::string_view name, std::string_view text) {
    return Member(name, Quoted(text));
}

JsonObject& JsonObject::Number(std::string_view name, std::int64_t number) {
    return Member(name, std::to_string(number));
}

JsonObject& JsonObject::Flag(std::string_view name, bool flag) {
    return Member(name, flag ? "true" : "false");
}

JsonObject& JsonObject::Texts(std::string_view name, std::initializer_list<std::string_view> texts) {
    return Member(name, ArrayOf(texts, &Quoted));
}

JsonObject& JsonObject::Object(std::string_view name, const JsonObject& object) {
    return Member(name, object.Json());
}

JsonObject& JsonObject::Objects(std::string_view name, std::initializer_list<JsonObject> objects) {
    return Member(name, ArrayOf(objects, [](const JsonObject& object) { return object.Json(); }));
}

JsonObject& JsonObject::Values(std::string_view name, const std::vector<std::string>& jsons) {
    return Member(name, JsonArray(jsons));
}

std::string JsonArray(const std::vector<std::string>& jsons) {
    return ArrayOf(jsons, [](const std::string& json) { return json; });
}

std::string WithFirstText(std::string_view name, std::string_view text, std::string_view object) {
    const std::string first = JsonObject().Text(name, text).Json();
    const bool isEmpty = object.size() <= 2;
    return first.substr(0, first.size() - 1) + (isEmpty ? "" : ",") + std::string(object.substr(1));
}

}  // namespace MuxProxy
