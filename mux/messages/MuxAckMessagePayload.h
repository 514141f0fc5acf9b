#pragma once

#include "mux/messages/MuxMessagePayloadBase.h"

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

}  // namespace Mux
