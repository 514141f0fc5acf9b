#include "tools/jose/Compact.h"

#include <algorithm>
#include <array>
#include <vector>

#include "json/Reading.h"
#include "tools/jose/Base64.h"

namespace Jose {
namespace {

// 64 bytes.
constexpr std::size_t kSignatureDigits = 86;

constexpr std::array<std::string_view, 3> kHeaderMembers = {"alg", "kid", "typ"};

std::vector<std::string_view> PartsOfCompact(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos; dot = text.find('.')) {
        parts.push_back(text.substr(0, dot));
        text.remove_prefix(dot + 1);
    }
    parts.push_back(text);
    return parts;
}

// The decoded header.
std::string CheckParts(std::string_view compact) {
    if (compact.size() > kLongestCompact) {
        throw SignatureFault("it is longer than 16384 bytes");
    }
    const std::vector<std::string_view> parts = PartsOfCompact(compact);
    if (parts.size() != 3) {
        throw SignatureFault("it is not a JWS in compact serialization");
    }
    const std::optional<std::string> header = FromBase64Url(parts[0]);
    if (!header || !FromBase64Url(parts[1]) || !FromBase64Url(parts[2])) {
        throw SignatureFault("it is not base64url without padding");
    }
    if (parts[2].size() != kSignatureDigits) {
        throw SignatureFault("its signature does not have 64 bytes");
    }
    return *header;
}

void CheckMember(const rapidjson::Value& header, const std::string& name, const rapidjson::Value& value) {
    if (std::find(kHeaderMembers.begin(), kHeaderMembers.end(), name) == kHeaderMembers.end()) {
        throw SignatureFault("its header must not have \"" + name + "\"");
    }
    if (Json::FindMember(header, name.c_str()) != &value) {
        throw SignatureFault("its header has \"" + name + "\" twice");
    }
    if (!value.IsString()) {
        throw SignatureFault("\"" + name + "\" of its header must be a string");
    }
}

std::optional<std::string> HeaderText(const rapidjson::Value& header, const char* name) {
    const rapidjson::Value* const value = Json::FindMember(header, name);
    return value == nullptr ? std::nullopt : std::optional(Json::StringOf(*value));
}

}  // namespace

std::optional<std::string> CheckCompact(std::string_view compact) {
    rapidjson::Document header;
    if (!Json::Parse(CheckParts(compact), header) || !header.IsObject()) {
        throw SignatureFault("its header is not a JSON object");
    }
    for (const auto& member : header.GetObject()) {
        CheckMember(header, Json::StringOf(member.name), member.value);
    }
    if (HeaderText(header, "alg") != "ES256") {
        throw SignatureFault("\"alg\" of its header must be ES256");
    }
    return HeaderText(header, "kid");
}

}  // namespace Jose
