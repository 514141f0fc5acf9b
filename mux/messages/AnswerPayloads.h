#pragma once

#include <cstdint>
#include <string>

#include "mux/messages/Payload.h"

// The payloads of the messages that the Mux sends: answers and events.
namespace Mux {

// The positive answer to a request: {} or {"Data":<any JSON value>}.
class MuxAckMessagePayload : public MuxMessagePayloadBase {
  public:
    // An answer without data.
    MuxAckMessagePayload() = default;

    // Keeps a copy of `data` in memory of its own; a null value is no data.
    explicit MuxAckMessagePayload(const rapidjson::Value& data);

    // The data that is still to be written; null when there was none or it was written.
    const rapidjson::Value& Data() const { return data_; }

    // Moves the data out: what is written a second time has no data.
    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    rapidjson::Document data_;
};

// The negative answer to a request: {"ErrorCode":<integer>,"Message":<text>} and, if there is data, "Data".
//
// Outside the hierarchy of the other payloads; a message of code MUX_MESSAGE_NACK carries it. Belongs to one message
// and is used by one thread at a time.
class MuxNackMessagePayload final {
  public:
    MuxNackMessagePayload(std::int32_t errorCode, std::string message);

    // Keeps a copy of `data` in memory of its own; a null value is no data.
    MuxNackMessagePayload(std::int32_t errorCode, std::string message, const rapidjson::Value& data);

    std::int32_t ErrorCode() const { return errorCode_; }
    const std::string& Message() const { return message_; }

    // The data that is still to be written; null when there was none or it was written.
    const rapidjson::Value& Data() const { return data_; }

    // The object of ToJSONObject() alone, as a compact JSON text.
    virtual std::string ToJSON();

    // A new JSON object, which the caller owns, with its members in the memory of `document`, which must outlive it.
    // Without a document an object without members. Moves the data out: what is written a second time has no data.
    virtual rapidjson::Value* ToJSONObject(rapidjson::Document* document);

  private:
    std::int32_t errorCode_;
    std::string message_;
    rapidjson::Document data_;
};

// How a lock operation ended: {"Success":<boolean>,"ErrorCode":<integer>}.
class MuxLockOperationResponsePayload : public MuxMessagePayloadBase {
  public:
    MuxLockOperationResponsePayload(bool success, std::int32_t errorCode);

    bool Success() const { return success_; }
    std::int32_t ErrorCode() const { return errorCode_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    bool success_;
    std::int32_t errorCode_;
};

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

// What a lock's reader saw: {"gatewayID":<integer>,"lockID":<integer>,"timestamp":<text>,"RFIDData":<text>}.
class MuxCardEventPayload : public MuxMessagePayloadBase {
  public:
    // `lockID` is the lock's device address; `timestamp` and `rfidData` are passed on to the client unchanged.
    MuxCardEventPayload(std::int32_t gatewayID, std::uint16_t lockID, std::string timestamp, std::string rfidData);

    std::int32_t GatewayID() const { return gatewayID_; }
    std::uint16_t LockID() const { return lockID_; }
    const std::string& Timestamp() const { return timestamp_; }
    const std::string& RfidData() const { return rfidData_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::int32_t gatewayID_;
    std::uint16_t lockID_;
    std::string timestamp_;
    std::string rfidData_;
};

}  // namespace Mux
