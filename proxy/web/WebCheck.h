#pragma once

#include <vector>

#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {

// What is wrong with the section "Web" and the files it names: addresses, certificate and key and their days left, the
// users, and names without any rule. Nothing without the section. Any thread.
std::vector<Finding> CheckWeb(const Configuration& configuration);

}  // namespace MuxProxy
