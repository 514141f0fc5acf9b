#pragma once

#include <vector>

#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {

// What the files of the section hold, and whether the connection needs encryption. Any thread.
std::vector<Finding> CheckMqtt(const MqttSettings& mqtt);

}  // namespace MuxProxy
