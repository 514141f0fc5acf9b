#include "mux/messages/MuxMessageBuilder.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <utility>

#include "json/Reading.h"

namespace Mux {
namespace {

using Json::FindMember;

constexpr std::size_t kParsedBytes = 4096;

std::int32_t LowBits(std::int64_t seconds) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds));
}

std::int32_t TimestampOf(const rapidjson::Value& root) {
    const auto* timestamp = FindMember(root, "Timestamp");
    return timestamp != nullptr && timestamp->IsNumber() ? LowBits(timestamp->GetInt64()) : 0;
}

std::string MessageIDOf(const rapidjson::Value& root) {
    const auto* messageID = FindMember(root, "MessageID");
    return messageID != nullptr && messageID->IsString() ? Json::StringOf(*messageID) : std::string();
}

std::int32_t MessageCodeOf(const rapidjson::Value& root) {
    const auto* messageCode = FindMember(root, "MessageCode");
    return messageCode != nullptr && messageCode->IsNumber() ? messageCode->GetInt() : 0;
}

rapidjson::Value* DataOf(rapidjson::Value& root) {
    const auto data = root.FindMember("Data");
    return data != root.MemberEnd() && data->value.IsObject() ? &data->value : nullptr;
}

std::unique_ptr<std::vector<unsigned char>> BytesOf(const std::string& text) {
    const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
    return text.empty() ? nullptr : std::make_unique<std::vector<unsigned char>>(first, first + text.size());
}

}  // namespace

std::unique_ptr<MuxMessage> MuxMessageBuilder::ParseMessage(std::string_view text) {
    // A request of the usual size needs no more.
    alignas(std::max_align_t) std::array<char, kParsedBytes> buffer;
    rapidjson::MemoryPoolAllocator<> pool(buffer.data(), buffer.size());
    rapidjson::Document root(&pool);
    if (!Json::Parse(text, root)) {
        return nullptr;
    }
    // The first look-up is what refuses a root that is no object.
    const std::int32_t timestamp = TimestampOf(root);
    std::string messageID = MessageIDOf(root);
    const std::int32_t messageCode = MessageCodeOf(root);
    auto* data = DataOf(root);
    auto payload = data != nullptr ? ParsePayload(messageCode, *data) : nullptr;
    return std::make_unique<MuxMessage>(timestamp, std::move(messageID), messageCode, std::move(payload));
}

std::unique_ptr<MuxMessage> MuxMessageBuilder::BuildMessage(std::int32_t messageCode, std::string messageID,
                                                            MuxMessageData data) {
    const std::int32_t now = LowBits(std::time(nullptr));
    return std::make_unique<MuxMessage>(now, std::move(messageID), messageCode, std::move(data));
}

std::unique_ptr<std::vector<unsigned char>> MuxMessageBuilder::MessageToBytes(MuxMessage& message) {
    return BytesOf(message.ToJSON());
}

std::unique_ptr<std::vector<unsigned char>> MuxMessageBuilder::MessageToBytes(MuxMessage& message,
                                                                              rapidjson::MemoryPoolAllocator<>& pool) {
    return BytesOf(message.ToJSON(pool));
}

std::unique_ptr<MuxAckMessagePayload> MuxMessageBuilder::BuildAckPayload() {
    return std::make_unique<MuxAckMessagePayload>();
}

std::unique_ptr<MuxAckMessagePayload> MuxMessageBuilder::BuildAckPayload(const rapidjson::Value& data) {
    return std::make_unique<MuxAckMessagePayload>(data);
}

std::unique_ptr<MuxNackMessagePayload> MuxMessageBuilder::BuildNackPayload(std::int32_t errorCode,
                                                                           std::string message) {
    return std::make_unique<MuxNackMessagePayload>(errorCode, std::move(message));
}

std::unique_ptr<MuxNackMessagePayload> MuxMessageBuilder::BuildNackPayload(std::int32_t errorCode, std::string message,
                                                                           const rapidjson::Value& data) {
    return std::make_unique<MuxNackMessagePayload>(errorCode, std::move(message), data);
}

std::unique_ptr<MuxLockOperationResponsePayload> MuxMessageBuilder::BuildLockOperationResponse(bool success,
                                                                                               std::int32_t errorCode) {
    return std::make_unique<MuxLockOperationResponsePayload>(success, errorCode);
}

std::unique_ptr<MuxGetLockStatusResponsePayload> MuxMessageBuilder::BuildLockStatusResponse(
    std::int32_t batteryStatus, std::int32_t batteryLevel, bool mechanicalActive, bool batteryWarning,
    bool batteryAlarm, bool readerConnected) {
    constexpr bool kScandinavianFireMode = false;
    return std::make_unique<MuxGetLockStatusResponsePayload>(batteryStatus, batteryLevel, mechanicalActive,
                                                             batteryWarning, batteryAlarm, kScandinavianFireMode,
                                                             readerConnected);
}

std::unique_ptr<MuxCardEventPayload> MuxMessageBuilder::BuildCardEvent(std::int32_t gatewayID,
                                                                       std::uint16_t deviceAddress,
                                                                       std::string timestamp, std::string rfidData) {
    return std::make_unique<MuxCardEventPayload>(gatewayID, deviceAddress, std::move(timestamp), std::move(rfidData));
}

}  // namespace Mux
