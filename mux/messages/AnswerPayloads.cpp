#include "mux/messages/AnswerPayloads.h"

#include <memory>
#include <utility>

#include "json/Tree.h"

namespace Mux {

MuxAckMessagePayload::MuxAckMessagePayload(const rapidjson::Value& data) {
    Json::Copy(data, data_, data_.GetAllocator());
}

rapidjson::Value* MuxAckMessagePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Move("Data", data_).Release();
}

MuxNackMessagePayload::MuxNackMessagePayload(std::int32_t errorCode, std::string message)
    : errorCode_(errorCode), message_(std::move(message)) {}

MuxNackMessagePayload::MuxNackMessagePayload(std::int32_t errorCode, std::string message, const rapidjson::Value& data)
    : MuxNackMessagePayload(errorCode, std::move(message)) {
    Json::Copy(data, data_, data_.GetAllocator());
}

std::string MuxNackMessagePayload::ToJSON() {
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> object(ToJSONObject(&document));
    return Json::Text(*object);
}

rapidjson::Value* MuxNackMessagePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("ErrorCode", errorCode_).Add("Message", message_).Move("Data", data_).Release();
}

MuxLockOperationResponsePayload::MuxLockOperationResponsePayload(bool success, std::int32_t errorCode)
    : success_(success), errorCode_(errorCode) {}

rapidjson::Value* MuxLockOperationResponsePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("Success", success_).Add("ErrorCode", errorCode_).Release();
}

MuxGetLockStatusResponsePayload::MuxGetLockStatusResponsePayload(std::int32_t batteryStatus, std::int32_t qos,
                                                                 bool mechanicalActive, bool batteryWarningLevel,
                                                                 bool batteryAlarmLevel, bool scandinavianFireMode,
                                                                 bool readerConnected)
    : batteryStatus_(batteryStatus),
      qos_(qos),
      mechanicalActive_(mechanicalActive),
      batteryWarningLevel_(batteryWarningLevel),
      batteryAlarmLevel_(batteryAlarmLevel),
      scandinavianFireMode_(scandinavianFireMode),
      readerConnected_(readerConnected) {}

rapidjson::Value* MuxGetLockStatusResponsePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document)
        .Add("BatteryStatus", batteryStatus_)
        .Add("QoS", qos_)
        .Add("MechanicalActive", mechanicalActive_)
        .Add("BatteryWarningLevel", batteryWarningLevel_)
        .Add("BatteryAlarmLevel", batteryAlarmLevel_)
        .Add("ScandinavianFireMode", scandinavianFireMode_)
        .Add("ReaderConnected", readerConnected_)
        .Release();
}

MuxCardEventPayload::MuxCardEventPayload(std::int32_t gatewayID, std::uint16_t lockID, std::string timestamp,
                                         std::string rfidData)
    : gatewayID_(gatewayID), lockID_(lockID), timestamp_(std::move(timestamp)), rfidData_(std::move(rfidData)) {}

rapidjson::Value* MuxCardEventPayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document)
        .Add("gatewayID", gatewayID_)
        .Add("lockID", lockID_)
        .Add("timestamp", timestamp_)
        .Add("RFIDData", rfidData_)
        .Release();
}

}  // namespace Mux
