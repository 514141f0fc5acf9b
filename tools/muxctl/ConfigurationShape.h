#pragma once

#include "json/RapidJson.h"
#include "tools/muxctl/Finding.h"

namespace Muxctl {

// Compares a configuration with the shape that the Mux expects: unknown keys, keys that stand twice, missing IDs,
// values of the wrong type. Errors are what ends the Mux: an "ID" or "Port" that is a number but no signed 32-bit
// integer, and an element of "Gateways" or "Devices" that is no object.
Findings CheckShape(const rapidjson::Value& document);

}  // namespace Muxctl
