#include "proxy/mqtt/CommandPayload.h"

#include <cmath>
#include <set>

#include "json/Reading.h"

namespace MuxProxy {
namespace {

// In the year 5138: those who count milliseconds are told.
constexpr double kLatestSecond = 1e11;
constexpr double kMicrosecondsPerSecond = 1e6;
constexpr std::int64_t kLongestDuration = 255;
constexpr std::int64_t kHighestSetup = 255;

void CheckNamesAreUnique(const rapidjson::Value& object) {
    std::set<std::string> names;
    for (const auto& member : object.GetObject()) {
        const std::string name = Json::StringOf(member.name);
        if (!names.insert(name).second) {
            throw ClaimFault("it has " + Excerpt(name) + " twice");
        }
    }
}

bool IsHexadecimal(const std::string& text) {
    return text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}

bool IsInsideCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string Excerpt(const std::string& text) {
    if (text.size() <= kLongestExcerpt) {
        return text;
    }
    std::size_t end = kLongestExcerpt;
    while (end > 0 && IsInsideCharacter(text[end])) {
        --end;
    }
    return text.substr(0, end) + "...";
}

CommandPayload::CommandPayload(std::string_view text) {
    if (text.size() > kLongestCommand) {
        throw ClaimFault("it is longer than " + std::to_string(kLongestCommand) + " bytes");
    }
    if (!Json::Parse(text, claims_) || !claims_.IsObject()) {
        throw ClaimFault("it is not a JSON object");
    }
    CheckNamesAreUnique(claims_);
}

const rapidjson::Value* CommandPayload::Find(const char* name) const {
    return Json::FindMember(claims_, name);
}

std::optional<std::string> CommandPayload::Text(const char* name) const {
    const rapidjson::Value* const value = Find(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->IsString()) {
        throw ClaimFault(std::string(name) + " must be a string");
    }
    return Json::StringOf(*value);
}

std::optional<std::int64_t> CommandPayload::Integer(const char* name, std::int64_t lowest, std::int64_t highest) const {
    const rapidjson::Value* const value = Find(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->IsInt64() || value->GetInt64() < lowest || value->GetInt64() > highest) {
        throw ClaimFault(std::string(name) + " must be an integer from " + std::to_string(lowest) + " to " +
                         std::to_string(highest));
    }
    return value->GetInt64();
}

std::optional<WallTime> CommandPayload::Time(const char* name) const {
    const rapidjson::Value* const value = Find(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->IsNumber() || value->GetDouble() < 0 || value->GetDouble() > kLatestSecond) {
        throw ClaimFault(std::string(name) + " must be a number of seconds since 1970");
    }
    return WallTime(std::chrono::microseconds(std::llround(value->GetDouble() * kMicrosecondsPerSecond)));
}

bool CommandPayload::Flag(const char* name) const {
    const rapidjson::Value* const value = Find(name);
    if (value != nullptr && !value->IsBool()) {
        throw ClaimFault(std::string(name) + " must be true or false");
    }
    return value != nullptr && value->GetBool();
}

const RequestKind* CommandPayload::Kind() const {
    const rapidjson::Value* const operation = Find("operation");
    return operation != nullptr && operation->IsString() ? FindRequestKind(Json::StringOf(*operation)) : nullptr;
}

ProxyRequest CommandPayload::RequestFor(const MuxClient::LockAddress& lock) const {
    const std::optional<std::string> operation = Text("operation");
    ProxyRequest request;
    request.kind = Kind();
    request.lock = lock;
    if (request.kind == nullptr) {
        throw ClaimFault(operation ? "operation is \"" + Excerpt(*operation) + "\", which is unknown"
                                   : "operation is missing");
    }
    if (request.kind->hasDuration) {
        const std::optional<std::int64_t> duration = Integer("duration", 1, kLongestDuration);
        if (!duration) {
            throw ClaimFault("duration is missing");
        }
        request.duration = static_cast<std::uint8_t>(*duration);
    }
    if (request.kind->hasCard) {
        request.card = ReadCard();
    }
    return request;
}

MuxClient::Card CommandPayload::ReadCard() const {
    MuxClient::Card card;
    card.data = Text("card").value_or("");
    card.isUid = Flag("uid");
    const std::size_t longest = card.isUid ? MuxClient::kLongestUid : MuxClient::kLongestCardData;
    if (card.data.empty() || card.data.size() % 2 != 0 || card.data.size() > 2 * longest || !IsHexadecimal(card.data)) {
        throw ClaimFault("card must be 1 to " + std::to_string(longest) + " bytes in hexadecimal");
    }
    card.setupNumber = static_cast<std::uint32_t>(Integer("setup", 0, kHighestSetup).value_or(0));
    card.options = static_cast<std::uint32_t>(Integer("options", 0, 1).value_or(0));
    return card;
}

}  // namespace MuxProxy
