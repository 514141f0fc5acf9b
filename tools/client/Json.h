#pragma once

// The library's own door to rapidjson, for its source files only; no public header includes it.
//
// A program may use rapidjson itself, with other settings than ours, and the linker keeps only one copy of each
// inline function. So ours are in a namespace of their own.
#define RAPIDJSON_NAMESPACE MuxClient::Json
#define RAPIDJSON_NAMESPACE_BEGIN namespace MuxClient::Json {
#define RAPIDJSON_NAMESPACE_END }

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MuxClient::Json {

// Whether `text` is one JSON value surrounded by white space only, which becomes the document. A number that is not a
// signed 64-bit integer becomes null: messages have no other numbers, and the library's conversion overflows on
// exponents of ten digits. Stack use does not depend on nesting.
bool Parse(std::string_view text, Document& document);

// Where and why a text is not JSON.
struct ParseFault {
    std::size_t offset = 0;
    std::string reason;
};

// As Parse, but accepts the numbers that the Mux accepts and keeps their types: integers of 64 bits, signed or
// unsigned, and doubles, whose values are not kept. Nothing if the text is parsed; otherwise why the Mux does not parse
// it, such as a number too large for a double.
std::optional<ParseFault> ParseAllNumbers(std::string_view text, Document& document);

// The member of `object` with this name, null when there is none. `object` must be an object.
const Value* Find(const Value& object, const char* name);

// Members that may be missing or of another type; nothing then. `object` must be an object.
std::optional<std::string> TextIn(const Value& object, const char* name);
std::optional<std::int32_t> IntegerIn(const Value& object, const char* name);
std::optional<std::int64_t> LongIntegerIn(const Value& object, const char* name);
std::optional<bool> FlagIn(const Value& object, const char* name);

}  // namespace MuxClient::Json
