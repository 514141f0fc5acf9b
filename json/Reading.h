#pragma once

#include <string>
#include <string_view>

#include "json/RapidJson.h"

namespace Json {

// Reading JSON that came from outside. These functions keep no state; any thread may call them.

// Parses `text` into `document`: one JSON value (RFC 8259) with nothing but white space around it, no comments, no
// trailing commas, no byte order mark. A NUL character is no end of text but a character that JSON does not allow.
// False when the text is anything else; the document is null then. Costs no more stack however deep the text nests.
bool Parse(std::string_view text, rapidjson::Document& document);

// The first member of `object` with this name, which stays the object's; null when there is none. Fails an assertion
// when `object` is no object.
const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name);

// The characters of `text`, NUL characters included. Fails an assertion when `text` is no string.
inline std::string StringOf(const rapidjson::Value& text) {
    return {text.GetString(), text.GetStringLength()};
}

}  // namespace Json
