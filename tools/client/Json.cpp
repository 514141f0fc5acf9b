#include "tools/client/Json.h"

#include <rapidjson/memorystream.h>

#include <charconv>

namespace MuxClient::Json {
namespace {

constexpr unsigned kFlags = kParseIterativeFlag | kParseNumbersAsStringsFlag;

// Passes everything on to the document but numbers, which it reads itself.
class NumberReader {
  public:
    explicit NumberReader(Document& document) : document_(document) {}

    bool RawNumber(const char* text, SizeType length, bool) {
        std::int64_t number = 0;
        const std::from_chars_result result = std::from_chars(text, text + length, number);
        const bool isInteger = result.ec == std::errc() && result.ptr == text + length;
        return isInteger ? document_.Int64(number) : document_.Null();
    }

    bool Null() { return document_.Null(); }
    bool Bool(bool value) { return document_.Bool(value); }
    bool Int(int value) { return document_.Int(value); }
    bool Uint(unsigned value) { return document_.Uint(value); }
    bool Int64(std::int64_t value) { return document_.Int64(value); }
    bool Uint64(std::uint64_t value) { return document_.Uint64(value); }
    bool Double(double value) { return document_.Double(value); }
    bool String(const char* text, SizeType length, bool copy) { return document_.String(text, length, copy); }
    bool StartObject() { return document_.StartObject(); }
    bool Key(const char* text, SizeType length, bool copy) { return document_.Key(text, length, copy); }
    bool EndObject(SizeType members) { return document_.EndObject(members); }
    bool StartArray() { return document_.StartArray(); }
    bool EndArray(SizeType elements) { return document_.EndArray(elements); }

  private:
    Document& document_;
};

}  // namespace

bool Parse(std::string_view text, Document& document) {
    MemoryStream stream(text.data(), text.size());
    bool parsed = false;
    const auto generate = [&](Document& target) {
        NumberReader handler(target);
        // The parser takes a NUL for the end of the text.
        parsed = !Reader().Parse<kFlags>(stream, handler).IsError() && stream.Tell() == text.size();
        return parsed;
    };
    document.Populate(generate);
    return parsed;
}

const Value* Find(const Value& object, const char* name) {
    const auto member = object.FindMember(name);
    return member != object.MemberEnd() ? &member->value : nullptr;
}

std::optional<std::string> TextIn(const Value& object, const char* name) {
    const Value* const value = Find(object, name);
    return value != nullptr && value->IsString()
               ? std::make_optional(std::string(value->GetString(), value->GetStringLength()))
               : std::nullopt;
}

std::optional<std::int32_t> IntegerIn(const Value& object, const char* name) {
    const Value* const value = Find(object, name);
    return value != nullptr && value->IsInt() ? std::make_optional(value->GetInt()) : std::nullopt;
}

std::optional<std::int64_t> LongIntegerIn(const Value& object, const char* name) {
    const Value* const value = Find(object, name);
    return value != nullptr && value->IsInt64() ? std::make_optional(value->GetInt64()) : std::nullopt;
}

std::optional<bool> FlagIn(const Value& object, const char* name) {
    const Value* const value = Find(object, name);
    return value != nullptr && value->IsBool() ? std::make_optional(value->GetBool()) : std::nullopt;
}

}  // namespace MuxClient::Json
