// The parsers of what clients ask for.

#include <optional>
#include <string>
#include <utility>

#include "diagnostics/Log.h"
#include "json/Reading.h"
#include "mux/messages/CardData.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/RequestPayloads.h"
#include "mux/messages/RequestTable.h"

namespace Mux {
namespace {

// The member whose absence is a failed assertion.
std::int32_t RequiredInteger(const rapidjson::Value& data, const char* name) {
    const rapidjson::Value& value = data[name];
    return value.IsNumber() ? value.GetInt() : 0;
}

template <typename Payload>
std::unique_ptr<Payload> ParseLockRequest(const rapidjson::Value& data) {
    const std::int32_t gatewayID = RequiredInteger(data, "gatewayID");
    const std::int32_t lockID = RequiredInteger(data, "lockID");
    return std::make_unique<Payload>(gatewayID, lockID);
}

std::optional<std::int32_t> OptionalInteger(const rapidjson::Value& data, const char* name) {
    const auto member = data.FindMember(name);
    if (member == data.MemberEnd() || !member->value.IsNumber()) {
        return std::nullopt;
    }
    return member->value.GetInt();
}

// A member that may be left out, and what the log says when it is not there or no unsigned 32-bit integer.
struct UnsignedMember {
    const char* name;
    const char* absent;
    const char* unusable;
};

constexpr UnsignedMember kSetupNumber = {
    "setupNumber",
    "Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)",
    "Cannot parse setup number. Set to default 0.",
};

constexpr UnsignedMember kOptions = {
    "options",
    "Current whitelist message doesn't contain an Options value. Will be set to default (0)",
    "Cannot parse options value. Set to default 0.",
};

unsigned UnsignedOrDefault(const rapidjson::Value& data, const UnsignedMember& wanted) {
    const auto member = data.FindMember(wanted.name);
    if (member == data.MemberEnd()) {
        MUX_LOG(plog::debug) << wanted.absent;
        return 0;
    }
    if (!member->value.IsUint()) {
        MUX_LOG(plog::warning) << wanted.unusable;
        return 0;
    }
    return member->value.GetUint();
}

// Empty when there is no usable card data.
std::vector<unsigned char> CardDataOf(const rapidjson::Value& data) {
    const auto member = data.FindMember("cardData");
    if (member == data.MemberEnd()) {
        MUX_LOG(plog::warning) << "Received a Mux Set Whitelist payload, but the card data is nullptr";
        return {};
    }
    if (!member->value.IsString()) {
        MUX_LOG(plog::warning) << "Card data value is not in the attended format.";
        return {};
    }
    return CardDataFromText(Json::StringOf(member->value));
}

bool IsUIDCardOf(const rapidjson::Value& data) {
    const auto member = data.FindMember("isUIDCard");
    if (member == data.MemberEnd()) {
        MUX_LOG(plog::debug) << "Card data type is not specified. Default su IsUIDCard false";
        return false;
    }
    if (!member->value.IsBool()) {
        MUX_LOG(plog::warning) << "Card data type is not in a valid format. Will be used default value (false)";
        return false;
    }
    return member->value.GetBool();
}

}  // namespace

std::unique_ptr<MuxMessagePayloadBase> MuxMessageBuilder::ParsePayload(std::int32_t messageCode,
                                                                       rapidjson::Value& data) {
    const RequestKind* const kind = FindRequest(messageCode);
    return kind == nullptr || kind->parse == nullptr ? nullptr : kind->parse(*this, data);
}

std::unique_ptr<MuxLockOpenMessagePayload> MuxMessageBuilder::ParseLockOpenMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxLockOpenMessagePayload>(data);
}

std::unique_ptr<MuxLockCloseMessagePayload> MuxMessageBuilder::ParseLockCloseMessage(rapidjson::Value& data) {
    MUX_OPERATION();
    auto payload = ParseLockRequest<MuxLockCloseMessagePayload>(data);
    MUX_LOG(plog::debug) << "MuxMessageBuilder - gatewayID :" << payload->GatewayID()
                         << " lockID :" << payload->LockID();
    return payload;
}

std::unique_ptr<MuxGetLockStatusMessagePayload> MuxMessageBuilder::ParseGetLockStatusMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxGetLockStatusMessagePayload>(data);
}

std::unique_ptr<MuxLockOpenCloseMessagePayload> MuxMessageBuilder::ParseLockOpenCloseMessage(rapidjson::Value& data) {
    const std::int32_t gatewayID = RequiredInteger(data, "gatewayID");
    const std::int32_t lockID = RequiredInteger(data, "lockID");
    const rapidjson::Value& value = data["duration"];
    // Gateways take eight bits of duration; a longer one loses its upper bits.
    const auto duration = static_cast<std::uint8_t>(value.IsNumber() ? value.GetUint() : 0);
    return std::make_unique<MuxLockOpenCloseMessagePayload>(gatewayID, lockID, duration);
}

std::unique_ptr<MuxAccessDeniedMessagePayload> MuxMessageBuilder::ParseAccessDeniedMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxAccessDeniedMessagePayload>(data);
}

std::unique_ptr<MuxWhitelistClearPayload> MuxMessageBuilder::ParseWhitelistClearMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxWhitelistClearPayload>(data);
}

std::unique_ptr<MuxWhitelistEnablePayload> MuxMessageBuilder::ParseWhitelistEnableMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxWhitelistEnablePayload>(data);
}

std::unique_ptr<MuxWhitelistDisablePayload> MuxMessageBuilder::ParseWhitelistDisableMessage(rapidjson::Value& data) {
    return ParseLockRequest<MuxWhitelistDisablePayload>(data);
}

MuxWhitelistSetPayload* MuxMessageBuilder::ParseWhitelistSetMessage(rapidjson::Value& data) {
    MUX_OPERATION();
    const auto gatewayID = OptionalInteger(data, "gatewayID");
    if (!gatewayID) {
        MUX_LOG(plog::error) << "Cannot parse gateway ID for current message.";
        return nullptr;
    }
    const auto lockID = OptionalInteger(data, "lockID");
    if (!lockID) {
        MUX_LOG(plog::error) << "Cannot parse lock ID for current message.";
        return nullptr;
    }
    const unsigned setupNumber = UnsignedOrDefault(data, kSetupNumber);
    const unsigned options = UnsignedOrDefault(data, kOptions);
    auto cardData = CardDataOf(data);
    const bool isUIDCard = IsUIDCardOf(data);
    if (cardData.empty()) {
        MUX_LOG(plog::error) << "Cannot determine card data in whitelist message. Unrecoverable error";
        return nullptr;
    }
    MUX_LOG(plog::debug) << "Finished parsing whitelist message payload.";
    return std::make_unique<MuxWhitelistSetPayload>(*gatewayID, *lockID, isUIDCard, setupNumber, options,
                                                    std::move(cardData))
        .release();
}

std::unique_ptr<MuxConfigureMessagePayload> MuxMessageBuilder::ParseConfigureMessage(rapidjson::Value& data) {
    return std::make_unique<MuxConfigureMessagePayload>(std::move(data));
}

}  // namespace Mux
