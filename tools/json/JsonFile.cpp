#include "tools/json/JsonFile.h"

#include <algorithm>

#include "json/FaultText.h"
#include "json/Reading.h"
#include "tools/json/InputError.h"

namespace Tools {
namespace {

std::string Join(std::initializer_list<const char*> names) {
    std::string text;
    for (const char* name : names) {
        text += (text.empty() ? "" : ", ") + std::string(name);
    }
    return text;
}

}  // namespace

void JsonNode::AllowMembers(std::initializer_list<const char*> names) const {
    if (!value_.get().IsObject()) {
        Refuse("must be an object");
    }
    for (const auto& member : value_.get().GetObject()) {
        const std::string name = Json::StringOf(member.name);
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            Refuse("has no member \"" + name + "\"; it may have " + Join(names));
        }
    }
}

std::optional<JsonNode> JsonNode::Member(const char* name) const {
    const rapidjson::Value* value = Json::FindMember(value_, name);
    if (value == nullptr) {
        return std::nullopt;
    }
    return JsonNode(file_, *value, place_ + (place_.empty() ? "" : ".") + name);
}

JsonNode JsonNode::Required(const char* name) const {
    const std::optional<JsonNode> member = Member(name);
    if (!member) {
        Refuse("must have a member \"" + std::string(name) + "\"");
    }
    return *member;
}

std::vector<JsonNode> JsonNode::Elements(const char* name) const {
    std::vector<JsonNode> elements;
    const std::optional<JsonNode> member = Member(name);
    if (!member) {
        return elements;
    }
    if (!member->value_.get().IsArray()) {
        member->Refuse("must be an array");
    }
    for (const auto& element : member->value_.get().GetArray()) {
        elements.emplace_back(file_, element, member->place_ + "[" + std::to_string(elements.size()) + "]");
    }
    return elements;
}

std::int64_t JsonNode::NumberOr(const char* name, std::int64_t otherwise, std::int64_t least,
                                std::int64_t greatest) const {
    const std::optional<JsonNode> member = Member(name);
    return member ? member->Number(least, greatest) : otherwise;
}

bool JsonNode::BooleanOr(const char* name, bool otherwise) const {
    const std::optional<JsonNode> member = Member(name);
    return member ? member->Boolean() : otherwise;
}

std::string JsonNode::TextOr(const char* name, const std::string& otherwise) const {
    const std::optional<JsonNode> member = Member(name);
    return member ? member->Text() : otherwise;
}

std::int64_t JsonNode::Number(std::int64_t least, std::int64_t greatest) const {
    if (!value_.get().IsInt64() || value_.get().GetInt64() < least || value_.get().GetInt64() > greatest) {
        Refuse("must be a number from " + std::to_string(least) + " to " + std::to_string(greatest));
    }
    return value_.get().GetInt64();
}

bool JsonNode::Boolean() const {
    if (!value_.get().IsBool()) {
        Refuse("must be true or false");
    }
    return value_.get().GetBool();
}

std::string JsonNode::Text() const {
    if (!value_.get().IsString()) {
        Refuse("must be a string");
    }
    return Json::StringOf(value_);
}

void JsonNode::Refuse(const std::string& fault) const {
    throw InputError(file_ + ": " + (place_.empty() ? "the document" : place_) + " " + fault);
}

void ReadJson(const std::string& file, const std::string& text, const std::function<void(const JsonNode& root)>& read) {
    rapidjson::Document document;
    if (!Json::Parse(text, document)) {
        throw InputError(file + ": " + Json::FaultText(text));
    }
    read(JsonNode(file, document));
}

}  // namespace Tools
