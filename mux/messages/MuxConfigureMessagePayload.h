#pragma once

#include "mux/messages/MuxMessagePayloadBase.h"

namespace Mux {

// A configuration that a client sent: the "Data" value as it came, with the keys of the configuration file.
class MuxConfigureMessagePayload : public MuxMessagePayloadBase {
  public:
    // Takes `data` over and leaves it null. What is kept lives in memory of the payload's own, so the document that
    // `data` belongs to may go away.
    explicit MuxConfigureMessagePayload(rapidjson::Value&& data);

    const rapidjson::Value& Data() const { return data_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    rapidjson::Document data_;
};

}  // namespace Mux
