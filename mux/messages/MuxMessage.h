#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "json/RapidJson.h"
#include "mux/messages/AnswerPayloads.h"

namespace Mux {

// What a message carries and owns: nothing, the payload of a NACK, or the payload of any other code. The two kinds of
// payload share no base, and the holder knows which it has, so that neither is ever taken for the other.
using MuxMessageData = std::variant<std::monostate, std::unique_ptr<MuxMessagePayloadBase>,  //
                                    std::unique_ptr<MuxNackMessagePayload>>;

// One message between a client and the Mux, in either direction. As JSON text (UTF-8, RFC 8259) it is
// {"Timestamp":<integer>,"MessageID":<text>,"MessageCode":<integer>,"Data":<object or null>}.
//
// Owns its payload. Reading is safe from any thread; writing is not, since it may use the payload up.
class MuxMessage {
  public:
    // `timestamp` counts seconds since the Unix epoch; `messageCode` is one of MuxMessageCodes, or any other number
    // when a client sent it. Code MUX_MESSAGE_NACK goes with a MuxNackMessagePayload, every other code with a
    // MuxMessagePayloadBase; a payload of the wrong kind counts as none.
    MuxMessage(std::int32_t timestamp, std::string messageID, std::int32_t messageCode, MuxMessageData data);

    std::int32_t Timestamp() const { return timestamp_; }
    const std::string& MessageID() const { return messageID_; }
    std::int32_t MessageCode() const { return messageCode_; }

    // The payload, which the message keeps; null when there is none or it is the payload of a NACK.
    MuxMessagePayloadBase* Payload() const;

    // The payload of a NACK, which the message keeps; null when there is none.
    MuxNackMessagePayload* NackPayload() const;

    // The message as compact JSON text, its members in the order above. Data that an ACK or a NACK carries is moved
    // out by this, so a second text is without it. Empty when the payload holds a number that JSON cannot express.
    std::string ToJSON();

    // The same, built in the memory of `pool`, which the caller clears when it likes: the text does not depend on it.
    std::string ToJSON(rapidjson::MemoryPoolAllocator<>& pool);

  private:
    rapidjson::Value* DataToJSON(rapidjson::Document& document);

    std::int32_t timestamp_;
    std::string messageID_;
    MuxMessageData data_;
    std::int32_t messageCode_;
};

}  // namespace Mux
