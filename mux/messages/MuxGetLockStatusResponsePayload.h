#pragma once

#include <cstdint>

#include "mux/messages/MuxMessagePayloadBase.h"

namespace Mux {

// The state of a lock: {"BatteryStatus":<integer>,"QoS":<integer>,"MechanicalActive":<boolean>,
// "BatteryWarningLevel":<boolean>,"BatteryAlarmLevel":<boolean>,"ScandinavianFireMode":<boolean>,
// "ReaderConnected":<boolean>}, always with all seven members.
class MuxGetLockStatusResponsePayload : public MuxMessagePayloadBase {
  public:
    MuxGetLockStatusResponsePayload(std::int32_t batteryStatus, std::int32_t qos, bool mechanicalActive,
                                    bool batteryWarningLevel, bool batteryAlarmLevel, bool scandinavianFireMode,
                                    bool readerConnected);

    std::int32_t BatteryStatus() const { return batteryStatus_; }
    std::int32_t QoS() const { return qos_; }
    bool MechanicalActive() const { return mechanicalActive_; }
    bool BatteryWarningLevel() const { return batteryWarningLevel_; }
    bool BatteryAlarmLevel() const { return batteryAlarmLevel_; }
    bool ScandinavianFireMode() const { return scandinavianFireMode_; }
    bool ReaderConnected() const { return readerConnected_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::int32_t batteryStatus_;
    std::int32_t qos_;
    bool mechanicalActive_;
    bool batteryWarningLevel_;
    bool batteryAlarmLevel_;
    bool scandinavianFireMode_;
    bool readerConnected_;
};

}  // namespace Mux
