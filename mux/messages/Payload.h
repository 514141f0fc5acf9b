#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "json/RapidJson.h"

namespace Mux {

// The "Data" member of a message; the base of every payload except MuxNackMessagePayload.
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

// Makes the "Data" object of a message, member by member in the order of the calls:
//
//     return PayloadObject(document).Add("Success", success_).Add("ErrorCode", errorCode_).Release();
//
// The members live in the document's memory. Without a document the object stays without members.
// Lives for one object, on one thread.
class PayloadObject {
  public:
    using Key = rapidjson::Value::StringRefType;

    // `document` must outlive the object that Release() gives; it may be null.
    explicit PayloadObject(rapidjson::Document* document);

    PayloadObject& Add(const Key& key, bool value);
    PayloadObject& Add(const Key& key, std::int32_t value);
    PayloadObject& Add(const Key& key, std::uint32_t value);
    PayloadObject& Add(const Key& key, const std::string& value);

    // Adds what `held` holds and leaves `held` null; adds nothing when it is null already. `held` may live in any
    // memory, because what is added is a copy.
    PayloadObject& Move(const Key& key, rapidjson::Value& held);

    // Hands the object over; the caller owns it. To be called once, last.
    rapidjson::Value* Release();

  private:
    PayloadObject& Append(const Key& key, rapidjson::Value&& value);

    rapidjson::Document* document_;
    std::unique_ptr<rapidjson::Value> object_;
};

}  // namespace Mux
