#pragma once

#include "proxy/services/Service.h"

namespace MuxProxy {

// The services of the sections "Metrics" and "Mqtt".
extern const ServiceKit kServiceKit;

}  // namespace MuxProxy
