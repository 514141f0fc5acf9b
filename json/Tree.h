#pragma once

#include <string>

#include "json/RapidJson.h"

namespace Json {

// Copying and writing JSON of any depth.
//
// A client may send tens of thousands of nested brackets, and the library's own copying and writing call themselves
// once for each. These functions keep their place on the heap instead, so that the depth costs no thread its stack.
// They keep no state; any thread may call them.

// Makes `target` a copy of `source`, strings included, whose memory comes from `allocator` and lives as long as that.
// `target` must not be a part of `source`.
void Copy(const rapidjson::Value& source, rapidjson::Value& target, rapidjson::Document::AllocatorType& allocator);

// The compact text of `value`: no blanks or line breaks, string bytes unchanged, only quotes, backslashes and control
// characters escaped (\uXXXX with upper-case digits where there is no short escape). Empty if the value holds a number
// that JSON cannot express (not-a-number, infinity).
std::string Text(const rapidjson::Value& value);

}  // namespace Json
