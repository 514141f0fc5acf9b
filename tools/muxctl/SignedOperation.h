#pragma once

#include <string>
#include <vector>

#include "tools/muxctl/RequestKinds.h"

namespace Muxctl {

// An operation as commands over MQTT name it.
struct SignedOperation {
    // "open", "event-open", "whitelist-add".
    std::string name;
    const RequestKind* kind;
};

// All of them. Any thread.
const std::vector<SignedOperation>& SignedOperations();

}  // namespace Muxctl
