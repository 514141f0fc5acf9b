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
// default (false, 0, empty); so a document that is no object is a configuration with nothing in it. The process ends
// through a failed assertion when an "ID" or a "Port" is a number but no signed 32-bit integer, or when an element of
// "Gateways" or "Devices" is no object.
//
// Keeps no state; any thread may use it.
class MuxConfigurationParser {
  public:
    // False when `text` is no well-formed JSON; `configuration` is untouched then. Otherwise true, and all of
    // `configuration` is replaced.
    bool ParseText(const std::string& text, MuxConfigurationData& configuration) const;

    // The same for JSON that was parsed already. Always true; `object` is only read.
    bool ParseObject(const rapidjson::Value& object, MuxConfigurationData& configuration) const;
};

}  // namespace Mux::Configuration
