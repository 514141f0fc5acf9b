#pragma once

#include <ostream>
#include <string>

#include "json/RapidJson.h"

// Needs the settings of the former.
#include <rapidjson/ostreamwrapper.h>

namespace Muxctl {

// Writes JSON in one line, as all commands print it.
using JsonWriter = rapidjson::Writer<rapidjson::OStreamWrapper>;

// Write a text, and a member of an object. What is not UTF-8 becomes replacement characters: texts from files may have
// any bytes.
void WriteValue(JsonWriter& writer, const std::string& text);
void Write(JsonWriter& writer, const char* key, const std::string& text);

}  // namespace Muxctl
