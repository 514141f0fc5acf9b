#include "tools/muxctl/RequestStep.h"

namespace Muxctl {

std::string RequestStep::Title() const {
    return kind->FullName() + ", gateway " + std::to_string(options.lock.gateway) + ", lock " +
           std::to_string(options.lock.lock);
}

std::vector<RequestStep> StepsFor(const RequestKind& kind, const RequestOptions& options) {
    std::vector<RequestStep> steps(options.locks.size(), {&kind, options, ""});
    for (std::size_t index = 0; index < steps.size(); ++index) {
        steps.at(index).options.lock = options.locks.at(index);
    }
    return steps;
}

}  // namespace Muxctl
