#include "benchmarks/load/ReceivedMessage.h"

#include <stdexcept>

#include "json/RapidJson.h"

namespace Load {
namespace {

using Value = rapidjson::Value;

const Value* FindMember(const Value& object, const char* name) {
    const auto found = object.FindMember(name);
    return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string TextOf(const Value* value) {
    return value != nullptr && value->IsString() ? value->GetString() : "";
}

}  // namespace

ReceivedMessage ParseReceived(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    if (document.HasParseError() || !document.IsObject()) {
        throw std::runtime_error("the server sent what is no message: " + text);
    }
    const Value* const code = FindMember(document, "MessageCode");
    if (code == nullptr || !code->IsInt()) {
        throw std::runtime_error("the server sent a message without code: " + text);
    }
    ReceivedMessage message;
    message.code = code->GetInt();
    message.id = TextOf(FindMember(document, "MessageID"));
    const Value* const data = FindMember(document, "Data");
    if (data != nullptr && data->IsObject()) {
        message.card = TextOf(FindMember(*data, "RFIDData"));
    }
    return message;
}

}  // namespace Load
