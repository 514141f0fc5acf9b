#include "tools/muxctl/RequestStep.h"

namespace Muxctl {

std::string RequestStep::Title() const {
    return kind->FullName() + ", gateway " + std::to_string(options.lock.gateway) + ", lock " +
           std::to_string(options.lock.lock);
}

std::vector<RequestStep> StepsFor(const RequestKind& kind, const RequestOptions& options) {
    std::vector<RequestStep> steps = {{&kind, options}};
    if (!options.locks.empty()) {
        steps.resize(options.locks.size(), steps.front());
    }
    for (std::size_t index = 0; index < options.locks.size(); ++index) {
        steps.at(index).options.lock.lock = options.locks.at(index);
    }
    return steps;
}

}  // namespace Muxctl
