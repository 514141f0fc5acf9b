#include "diagnostics/JsonReading.h"

#include <rapidjson/memorystream.h>

namespace Diagnostics {

bool ParseJson(const std::string& text, rapidjson::Document& document) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    document.ParseStream(stream);
    // The parser takes a NUL for the end of the text; one inside the text is no JSON.
    const bool parsed = !document.HasParseError() && stream.Tell() == text.size();
    if (!parsed) {
        document.SetNull();
    }
    return parsed;
}

const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name) {
    const auto member = object.FindMember(name);
    return member != object.MemberEnd() ? &member->value : nullptr;
}

}  // namespace Diagnostics
