#include "mux/messages/MuxGetLockStatusResponsePayload.h"

#include "mux/messages/PayloadObject.h"

namespace Mux {

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

}  // namespace Mux
