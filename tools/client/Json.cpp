#include "tools/client/Json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>

#include <charconv>
#include <system_error>

namespace MuxClient::Json {
namespace {

constexpr unsigned kFlags = kParseIterativeFlag | kParseNumbersAsStringsFlag;

// Takes the place of every double, of which only the type counts.
constexpr double kAnyDouble = 0.5;

template <typename Integer>
std::optional<Integer> IntegerFrom(std::string_view text) {
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end ? std::make_optional(number) : std::nullopt;
}

// Whether the JSON library converts this number, which its parser has accepted. One with a negative exponent is never
// too large, and not given to the library, whose conversion overflows on exponents of ten digits.
bool IsDouble(std::string_view number) {
    if (number.find("e-") != std::string_view::npos || number.find("E-") != std::string_view::npos) {
        return true;
    }
    MemoryStream stream(number.data(), number.size());
    BaseReaderHandler<> handler;
    return !Reader().Parse<kParseIterativeFlag>(stream, handler).IsError();
}

// What becomes of numbers that are not signed 64-bit integers.
enum class OtherNumbers { kNull, kTyped };

// Passes everything on to the document but numbers, which it reads itself.
class NumberReader {
  public:
    NumberReader(Document& document, OtherNumbers others) : document_(document), others_(others) {}

    bool RawNumber(const char* text, SizeType length, bool) {
        const std::string_view number(text, length);
        if (const auto integer = IntegerFrom<std::int64_t>(number)) {
            return document_.Int64(*integer);
        }
        return others_ == OtherNumbers::kNull ? document_.Null() : AddTyped(number);
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
    bool AddTyped(std::string_view number) {
        if (const auto integer = IntegerFrom<std::uint64_t>(number)) {
            return document_.Uint64(*integer);
        }
        return IsDouble(number) && document_.Double(kAnyDouble);
    }

    Document& document_;
    OtherNumbers others_;
};

std::string ReasonOf(const ParseResult& result) {
    if (!result.IsError()) {
        return "A NUL character";
    }
    if (result.Code() == kParseErrorTermination) {
        return "Number too large";
    }
    const std::string sentence = GetParseError_En(result.Code());
    return sentence.substr(0, sentence.find_last_not_of('.') + 1);
}

std::optional<ParseFault> ParseInto(Document& document, std::string_view text, OtherNumbers others) {
    MemoryStream stream(text.data(), text.size());
    std::optional<ParseFault> fault;
    const auto generate = [&](Document& target) {
        NumberReader handler(target, others);
        const ParseResult result = Reader().Parse<kFlags>(stream, handler);
        // The parser takes a NUL for the end of the text.
        const bool isWhole = !result.IsError() && stream.Tell() == text.size();
        if (!isWhole) {
            fault = ParseFault{result.IsError() ? result.Offset() : stream.Tell(), ReasonOf(result)};
        }
        return isWhole;
    };
    document.Populate(generate);
    return fault;
}

}  // namespace

bool Parse(std::string_view text, Document& document) {
    return !ParseInto(document, text, OtherNumbers::kNull);
}

std::optional<ParseFault> ParseAllNumbers(std::string_view text, Document& document) {
    return ParseInto(document, text, OtherNumbers::kTyped);
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
