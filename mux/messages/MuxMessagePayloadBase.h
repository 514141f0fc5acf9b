#pragma once

#include <string>

#include "diagnostics/RapidJson.h"

namespace Mux {

// What stands in the "Data" member of a message; the base of every payload except MuxNackMessagePayload.
//
// A payload belongs to one message and is used by one thread at a time.
class MuxMessagePayloadBase {
  public:
    MuxMessagePayloadBase() = default;
    virtual ~MuxMessagePayloadBase() = default;
    MuxMessagePayloadBase(const MuxMessagePayloadBase&) = delete;
    MuxMessagePayloadBase& operator=(const MuxMessagePayloadBase&) = delete;

    // The object of ToJSONObject() alone, as a compact JSON text. Empty when there is none.
    virtual std::string ToJSON();

    // A new JSON object, which the caller owns, with its members in the memory of `document`, which must outlive it.
    // Without a document an object without members. Null means that there is nothing to write: so in the base.
    virtual rapidjson::Value* ToJSONObject(rapidjson::Document* document);
};

}  // namespace Mux
