#include "tools/muxctl/JsonFault.h"

#include <algorithm>

#include "diagnostics/RapidJson.h"

// Needs the settings of the former.
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace Muxctl {
namespace {

// Numbers are not converted, for the library's conversion fails on exponents of ten digits.
constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;

struct Fault {
    std::size_t offset;
    const char* reason;
};

Fault FindFault(const std::string& text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::BaseReaderHandler<> handler;
    const rapidjson::ParseResult result = rapidjson::Reader().Parse<kFlags>(stream, handler);
    if (result.IsError()) {
        return {result.Offset(), rapidjson::GetParseError_En(result.Code())};
    }
    // The reader took a NUL for the end.
    return {stream.Tell(), "A NUL character stands here."};
}

std::string PositionText(const std::string& text, std::size_t offset) {
    const std::string before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.find_last_of('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart + 1);
}

}  // namespace

std::string JsonFaultText(const std::string& text) {
    const Fault fault = FindFault(text);
    return "is no JSON: " + PositionText(text, fault.offset) + ": " + fault.reason;
}

}  // namespace Muxctl
