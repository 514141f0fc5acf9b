#pragma once

#include <string>
#include <vector>

#include "tools/client/Request.h"
#include "tools/muxctl/RequestKinds.h"

namespace Muxctl {

// One request of a command that may send several. A value; `kind` is one of RequestKinds().
struct RequestStep {
    const RequestKind* kind = nullptr;
    RequestOptions options;
    // In a batch file, as in "doors.txt:3"; otherwise empty.
    std::string place = {};

    // With a new identifier and the present time.
    MuxClient::Request Build() const { return kind->build(options); }
    // "open, gateway 1, lock 5".
    std::string Title() const;
};

// A step for each lock of the options.
std::vector<RequestStep> StepsFor(const RequestKind& kind, const RequestOptions& options);

}  // namespace Muxctl
