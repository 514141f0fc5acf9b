#include "tests/docs/support/JsonSchema.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>

#include "tests/docs/support/DocumentFile.h"

namespace Documents {
namespace {

std::string TextOf(const rapidjson::Pointer& pointer) {
    rapidjson::StringBuffer text;
    pointer.StringifyUriFragment(text);
    return {text.GetString(), text.GetSize()};
}

rapidjson::Document Parsed(const std::string& name, const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    if (document.HasParseError()) {
        throw std::runtime_error("schema " + name +
                                 " is no JSON: " + rapidjson::GetParseError_En(document.GetParseError()));
    }
    return document;
}

// The validator looks at all open levels for each value: thousands of them take minutes. Brackets within strings are
// counted too, which does no harm.
bool IsTooDeep(const std::string& text) {
    constexpr int kDeepest = 500;
    int depth = 0;
    int deepest = 0;
    for (const char character : text) {
        depth += character == '[' || character == '{' ? 1 : 0;
        depth -= character == ']' || character == '}' ? 1 : 0;
        deepest = std::max(deepest, depth);
    }
    return deepest > kDeepest;
}

}  // namespace

class JsonSchema::Rules {
  public:
    explicit Rules(const rapidjson::Document& source) : document(source) {}
    const rapidjson::SchemaDocument document;
    // The library's regular expressions keep the state of a search in themselves.
    mutable std::mutex inUse;
};

JsonSchema::JsonSchema(const std::string& name)
    : rules_(std::make_unique<const Rules>(Parsed(name, ReadDocument("schema/" + name + ".schema.json")))) {}

JsonSchema::~JsonSchema() = default;

std::string JsonSchema::ViolationIn(const std::string& text) const {
    if (IsTooDeep(text)) {
        return "nested deeper than any schema of ours";
    }
    const std::lock_guard<std::mutex> lock(rules_->inUse);
    rapidjson::SchemaValidator validator(rules_->document);
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    const rapidjson::ParseResult result = reader.Parse(stream, validator);
    if (!validator.IsValid()) {
        const char* const keyword = validator.GetInvalidSchemaKeyword();
        return TextOf(validator.GetInvalidDocumentPointer()) + " breaks " + (keyword == nullptr ? "a rule" : keyword) +
               " at " + TextOf(validator.GetInvalidSchemaPointer());
    }
    return result.IsError() ? rapidjson::GetParseError_En(result.Code()) : "";
}

const JsonSchema& JsonSchema::Named(const char* name) {
    static std::mutex inUse;
    static std::map<std::string, JsonSchema> schemas;
    const std::lock_guard<std::mutex> lock(inUse);
    return schemas.try_emplace(name, name).first->second;
}

}  // namespace Documents
