#include "tools/client/Message.h"

#include "tools/client/Errors.h"
#include "tools/client/Json.h"

namespace MuxClient {
namespace {

// Only this answer has a battery.
constexpr const char* kStatusMark = "BatteryStatus";

Refusal ReadRefusal(const Json::Value& data) {
    return {Json::IntegerIn(data, "ErrorCode").value_or(0), Json::TextIn(data, "Message").value_or("")};
}

LockStatus ReadStatus(const Json::Value& data) {
    LockStatus status;
    status.batteryStatus = Json::IntegerIn(data, kStatusMark).value_or(0);
    status.qualityOfService = Json::IntegerIn(data, "QoS").value_or(0);
    status.mechanicalActive = Json::FlagIn(data, "MechanicalActive").value_or(false);
    status.batteryWarningLevel = Json::FlagIn(data, "BatteryWarningLevel").value_or(false);
    status.batteryAlarmLevel = Json::FlagIn(data, "BatteryAlarmLevel").value_or(false);
    status.scandinavianFireMode = Json::FlagIn(data, "ScandinavianFireMode").value_or(false);
    status.readerConnected = Json::FlagIn(data, "ReaderConnected").value_or(false);
    return status;
}

CardEvent ReadEvent(const Json::Value& data) {
    CardEvent event;
    event.gateway = Json::IntegerIn(data, "gatewayID").value_or(0);
    event.lock = Json::IntegerIn(data, "lockID").value_or(0);
    event.time = Json::TextIn(data, "timestamp").value_or("");
    event.data = Json::TextIn(data, "RFIDData").value_or("");
    return event;
}

void ReadData(const Json::Value& data, Message& message) {
    if (message.IsEvent()) {
        message.event = ReadEvent(data);
    } else if (message.code == MessageCode::kNack) {
        message.refusal = ReadRefusal(data);
    } else if (message.IsAck() && Json::Find(data, kStatusMark) != nullptr) {
        message.status = ReadStatus(data);
    }
}

}  // namespace

bool Message::IsEvent() const {
    return code == MessageCode::kAccessAllowed || code == MessageCode::kCardReader || code == MessageCode::kInfo;
}

Message ParseMessage(const std::string& text) {
    Json::Document document;
    if (!Json::Parse(text, document) || !document.IsObject()) {
        throw ProtocolError("the received data is not a JSON object");
    }
    const std::optional<std::int32_t> code = Json::IntegerIn(document, "MessageCode");
    if (!code) {
        throw ProtocolError("the received data is not a Mux message");
    }
    Message message;
    message.timestamp = Json::LongIntegerIn(document, "Timestamp").value_or(0);
    message.id = Json::TextIn(document, "MessageID").value_or("");
    message.code = static_cast<MessageCode>(*code);
    message.text = text;
    const Json::Value* const data = Json::Find(document, "Data");
    if (data != nullptr && data->IsObject()) {
        ReadData(*data, message);
    }
    return message;
}

}  // namespace MuxClient
