#pragma once

#include <string>
#include <string_view>

#include "json/RapidJson.h"

namespace Json {

// Reading JSON that came from outside. These functions keep no state; any thread may call them.

// Parses `text` into `document`: one JSON value (RFC 8259) surrounded by white space only, without comments, trailing
// commas or a byte order mark. A NUL character does not end the text but is invalid. False for anything else; the
// document is null then. Stack use does not depend on nesting.
bool Parse(std::string_view text, rapidjson::Document& document);

// The first member of `object` with this name, owned by the object; null if there is none. Fails an assertion if
// `object` is not an object.
const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name);

// The characters of `text`, NUL characters included. Fails an assertion if `text` is not a string.
inline std::string StringOf(const rapidjson::Value& text) {
    return {text.GetString(), text.GetStringLength()};
}

}  // namespace Json
