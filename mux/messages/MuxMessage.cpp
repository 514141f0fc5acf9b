#include "mux/messages/MuxMessage.h"

#include <memory>
#include <utility>

#include "diagnostics/Log.h"
#include "json/Tree.h"
#include "mux/messages/MuxMessageCodes.h"

namespace Mux {
namespace {

template <typename Payload>
Payload* PayloadIn(const MuxMessageData& data) {
    const auto* owner = std::get_if<std::unique_ptr<Payload>>(&data);
    return owner != nullptr ? owner->get() : nullptr;
}

}  // namespace

MuxMessage::MuxMessage(std::int32_t timestamp, std::string messageID, std::int32_t messageCode, MuxMessageData data)
    : timestamp_(timestamp), messageID_(std::move(messageID)), data_(std::move(data)), messageCode_(messageCode) {}

MuxMessagePayloadBase* MuxMessage::Payload() const {
    return PayloadIn<MuxMessagePayloadBase>(data_);
}

MuxNackMessagePayload* MuxMessage::NackPayload() const {
    return PayloadIn<MuxNackMessagePayload>(data_);
}

std::string MuxMessage::ToJSON() {
    rapidjson::MemoryPoolAllocator<> pool;
    return ToJSON(pool);
}

std::string MuxMessage::ToJSON(rapidjson::MemoryPoolAllocator<>& pool) {
    const Diagnostics::LogOperation operation("std::string Mux::MuxMessage::ToJSON()");
    rapidjson::Document document(rapidjson::kObjectType, &pool);
    const std::unique_ptr<rapidjson::Value> data(DataToJSON(document));
    rapidjson::Value noData;

    document.AddMember("Timestamp", std::int64_t{timestamp_}, pool);
    document.AddMember("MessageID", rapidjson::StringRef(messageID_.data(), messageID_.size()), pool);
    document.AddMember("MessageCode", messageCode_, pool);
    document.AddMember("Data", data ? *data : noData, pool);
    return Json::Text(document);
}

// Null when there is nothing to write as "Data".
rapidjson::Value* MuxMessage::DataToJSON(rapidjson::Document& document) {
    const bool isNack = messageCode_ == MUX_MESSAGE_NACK;
    if (isNack && NackPayload() != nullptr) {
        MUX_LOG(plog::verbose) << "Converting NACK Message.";
        return NackPayload()->ToJSONObject(&document);
    }
    if (isNack || Payload() == nullptr) {
        MUX_LOG(plog::warning) << "Current Message data is NULL. MessageCode: " << messageCode_;
        return nullptr;
    }
    if (messageCode_ == MUX_MESSAGE_ACK) {
        MUX_LOG(plog::verbose) << " Converting ACK Message.";
    } else {
        MUX_LOG(plog::verbose) << "Current Message Code: " << messageCode_;
    }
    return Payload()->ToJSONObject(&document);
}

}  // namespace Mux
