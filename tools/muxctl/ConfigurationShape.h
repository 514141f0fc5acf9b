#pragma once

#include "json/RapidJson.h"
#include "tools/muxctl/Finding.h"

namespace Muxctl {

// Compares a configuration with the expected shape: unknown keys, duplicate keys, missing IDs, values of the wrong
// type. Errors are what would end the Mux: an "ID" or "Port" that is a number but not a signed 32-bit integer, and an
// element of "Gateways" or "Devices" that is not an object.
Findings CheckShape(const rapidjson::Value& document);

}  // namespace Muxctl
