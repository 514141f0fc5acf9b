#include "json/FaultText.h"

#include <algorithm>
#include <cstddef>

#include "json/RapidJson.h"

// Needs the settings of the former.
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace Json {
namespace {

// Numbers are not converted, for the library's conversion fails on exponents of ten digits.
constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;

std::string PositionText(const std::string& text, std::size_t offset) {
    const std::string before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.find_last_of('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart + 1);
}

}  // namespace

std::string FaultText(const std::string& text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::BaseReaderHandler<> handler;
    const rapidjson::ParseResult result = rapidjson::Reader().Parse<kFlags>(stream, handler);
    if (result.IsError()) {
        return "is not JSON: " + PositionText(text, result.Offset()) + ": " +
               rapidjson::GetParseError_En(result.Code());
    }
    // The reader takes a NUL for the end. Some versions of the library refuse a number only when they convert it.
    return stream.Tell() < text.size() ? "is not JSON: " + PositionText(text, stream.Tell()) + ": A NUL character."
                                       : "is not JSON: A number in it is too large.";
}

}  // namespace Json
