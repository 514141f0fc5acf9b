#pragma once

#include <vector>

#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {

// What is wrong with the files that the section "Web" names: certificate and key and their days left, as far as they
// are not those of "Certificates", and the users, of whom some may have no rule. Nothing without the section. Any
// thread.
std::vector<Finding> CheckWeb(const Configuration& configuration);

}  // namespace MuxProxy
