#pragma once

#include <string>

#include "json/RapidJson.h"
#include "mux/configuration/MuxConfigurationData.h"

namespace Mux::Configuration {

// Reads a configuration (JSON, RFC 8259):
//
//     {"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"192.168.1.20","Port":2101,
//      "Devices":[{"Name":"Door 1","ID":4711}]}]}
//
// Keys are case-sensitive. Only the literal true enables. A member that is missing or of the wrong type takes its
// default (false, 0, empty), so a document that is not an object is an empty configuration. The process ends through a
// failed assertion if an "ID" or "Port" is a number but not a signed 32-bit integer, or if an element of "Gateways" or
// "Devices" is not an object.
//
// Keeps no state; any thread may use it.
class MuxConfigurationParser {
  public:
    // False if `text` is not well-formed JSON; `configuration` is then unchanged. Otherwise true, and all of
    // `configuration` is replaced.
    bool ParseText(const std::string& text, MuxConfigurationData& configuration) const;

    // The same for JSON that was parsed already. Always true; `object` is only read.
    bool ParseObject(const rapidjson::Value& object, MuxConfigurationData& configuration) const;
};

}  // namespace Mux::Configuration
