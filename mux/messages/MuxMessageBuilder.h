#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "json/RapidJson.h"
#include "mux/messages/AnswerPayloads.h"
#include "mux/messages/MuxMessage.h"
#include "mux/messages/Payload.h"
#include "mux/messages/RequestPayloads.h"

namespace Mux {

// Builds messages from the texts of clients, and the Mux's messages to them.
//
// Keeps no state: create one where it is needed, on any thread.
class MuxMessageBuilder {
  public:
    // Reads a client's JSON text (see MuxMessage). Null, without a log line, when it is not well-formed; a NUL in it
    // is a character like any other. A member that is missing or of the wrong type takes its default: timestamp 0,
    // no identifier, code 0, no payload. Of the timestamp the low 32 bits count.
    //
    // Ends the process through a failed assertion when the text is JSON but no object, when "Timestamp" is a number
    // but no signed 64-bit integer, or "MessageCode" a number but no signed 32-bit integer.
    std::unique_ptr<MuxMessage> ParseMessage(std::string_view text);

    // Reads the "Data" object of a message with this code. Null if no parser belongs to the code, or if the parser, see
    // below, refuses the data. Configuration data is moved out of `data`.
    std::unique_ptr<MuxMessagePayloadBase> ParsePayload(std::int32_t messageCode, rapidjson::Value& data);

    // The parsers of the requests, one for each kind of payload. All but the whitelist's end the process through a
    // failed assertion if `data` is not an object, lacks a member, or has a number that is not a signed 32-bit (a
    // duration: unsigned 32-bit) integer. A non-numeric member counts as 0. Of a duration the low 8 bits count.
    std::unique_ptr<MuxLockOpenMessagePayload> ParseLockOpenMessage(rapidjson::Value& data);
    std::unique_ptr<MuxLockCloseMessagePayload> ParseLockCloseMessage(rapidjson::Value& data);
    std::unique_ptr<MuxGetLockStatusMessagePayload> ParseGetLockStatusMessage(rapidjson::Value& data);
    std::unique_ptr<MuxLockOpenCloseMessagePayload> ParseLockOpenCloseMessage(rapidjson::Value& data);
    std::unique_ptr<MuxAccessDeniedMessagePayload> ParseAccessDeniedMessage(rapidjson::Value& data);
    std::unique_ptr<MuxWhitelistClearPayload> ParseWhitelistClearMessage(rapidjson::Value& data);
    std::unique_ptr<MuxWhitelistEnablePayload> ParseWhitelistEnableMessage(rapidjson::Value& data);
    std::unique_ptr<MuxWhitelistDisablePayload> ParseWhitelistDisableMessage(rapidjson::Value& data);

    // A card to add to a whitelist or to remove from it; the caller owns the result. Null, with an error line, if the
    // gateway, the lock or the card data is missing or of the wrong type. A missing or unusable setup number, option or
    // card type takes its default (0, 0, no UID card) with a log line. A gateway or lock that is a number but not a
    // signed 32-bit integer ends the process through a failed assertion.
    MuxWhitelistSetPayload* ParseWhitelistSetMessage(rapidjson::Value& data);

    // Takes `data` over, whatever it is, and leaves it null.
    std::unique_ptr<MuxConfigureMessagePayload> ParseConfigureMessage(rapidjson::Value& data);

    // A message of this moment. `messageID` is the identifier of the request that it answers, or one of its own.
    std::unique_ptr<MuxMessage> BuildMessage(std::int32_t messageCode, std::string messageID, MuxMessageData data);

    // The bytes of the message's JSON text, without a trailing NUL. Null if there is no text (see MuxMessage::ToJSON).
    // The second form builds the text in the memory of `pool`.
    std::unique_ptr<std::vector<unsigned char>> MessageToBytes(MuxMessage& message);
    std::unique_ptr<std::vector<unsigned char>> MessageToBytes(MuxMessage& message,
                                                               rapidjson::MemoryPoolAllocator<>& pool);

    // The payloads of answers and events. Data is copied into the payload; a null value is no data.
    std::unique_ptr<MuxAckMessagePayload> BuildAckPayload();
    std::unique_ptr<MuxAckMessagePayload> BuildAckPayload(const rapidjson::Value& data);
    std::unique_ptr<MuxNackMessagePayload> BuildNackPayload(std::int32_t errorCode, std::string message);
    std::unique_ptr<MuxNackMessagePayload> BuildNackPayload(std::int32_t errorCode, std::string message,
                                                            const rapidjson::Value& data);
    std::unique_ptr<MuxLockOperationResponsePayload> BuildLockOperationResponse(bool success, std::int32_t errorCode);

    // The values of a gateway's lock state. Clients get the battery level as "QoS". Gateways do not report the
    // Scandinavian fire mode, so it is always off.
    std::unique_ptr<MuxGetLockStatusResponsePayload> BuildLockStatusResponse(std::int32_t batteryStatus,
                                                                             std::int32_t batteryLevel,
                                                                             bool mechanicalActive, bool batteryWarning,
                                                                             bool batteryAlarm, bool readerConnected);

    // `timestamp` and `rfidData` are passed on to the client unchanged.
    std::unique_ptr<MuxCardEventPayload> BuildCardEvent(std::int32_t gatewayID, std::uint16_t deviceAddress,
                                                        std::string timestamp, std::string rfidData);
};

}  // namespace Mux
