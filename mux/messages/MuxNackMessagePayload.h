#pragma once

#include <cstdint>
#include <string>

#include "diagnostics/RapidJson.h"

namespace Mux {

// The negative answer to a request: {"ErrorCode":<integer>,"Message":<text>} and, when there is data, "Data".
//
// It stands outside the hierarchy of the other payloads; a message of code MUX_MESSAGE_NACK carries it.
// Belongs to one message and is used by one thread at a time.
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

}  // namespace Mux
