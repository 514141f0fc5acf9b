#include "benchmarks/load/ReceivedMessage.h"

#include <stdexcept>

#include "json/Reading.h"

namespace Load {
namespace {

using Json::FindMember;
using rapidjson::Value;

std::string TextOf(const Value* value) {
    return value != nullptr && value->IsString() ? Json::StringOf(*value) : "";
}

}  // namespace

ReceivedMessage ParseReceived(const std::string& text) {
    rapidjson::Document document;
    if (!Json::Parse(text, document) || !document.IsObject()) {
        throw std::runtime_error("not a message: " + text);
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
