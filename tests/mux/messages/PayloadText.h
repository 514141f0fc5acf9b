#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "json/Tree.h"
#include "mux/messages/Payload.h"

namespace Testing {

// The text of the object that `payload` makes when it is given no document; empty when it makes none.
inline std::string TextWithoutDocument(Mux::MuxMessagePayloadBase& payload) {
    const std::unique_ptr<rapidjson::Value> object(payload.ToJSONObject(nullptr));
    EXPECT_NE(object, nullptr);
    return object ? Json::Text(*object) : std::string();
}

}  // namespace Testing
